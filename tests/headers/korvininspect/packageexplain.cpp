#include <korvininspect/packageexplain.h>

bool korvininspect_packageexplain();

bool korvininspect_packageexplain()
{
    using namespace KorvinInspect;
    const QVector<ExplainedField> fields =
        explain(QByteArray(6, '\0'), {ClassId::PackageBase, Form::Frame, Direction::Reply});
    return fields.size() == 5 && fields.at(1).name == QStringLiteral("serialNum")
        && fields.at(1).value.toInt() == 0 && explanationToJson(fields).size() == 5
        && explanationToJsonText(fields).startsWith('[') && !valueForPeople(fields.at(1)).isEmpty();
}
