#include "inspect.h"

#include "conversions.h"

#include <korvininspect/packageexplain.h>
#include <korvininspect/packageguess.h>

using namespace KorvinInspect;

namespace KorvinPython {

namespace {

py::object valueOf(const QVariant &value)
{
    switch (static_cast<QMetaType::Type>(value.userType())) {
    case QMetaType::Bool:
        return py::bool_(value.toBool());
    case QMetaType::LongLong:
        return py::int_(value.toLongLong());
    case QMetaType::ULongLong:
        return py::int_(value.toULongLong());
    case QMetaType::QString:
        return toPython(value.toString());
    case QMetaType::QByteArray:
        return toPython(value.toByteArray());
    default:
        return py::none();
    }
}

py::tuple rowOf(const ExplainedField &field)
{
    py::list remarks;
    for (const QString &remark : field.remarks)
        remarks.append(toPython(remark));
    return py::make_tuple(toPython(field.name), field.item,
                          field.column < 0 ? py::object(py::none()) : py::int_(field.column),
                          field.offset, field.width, toPython(field.raw), valueOf(field.value),
                          toPython(field.meaning), toPython(field.description), py::tuple(remarks),
                          toPython(valueForPeople(field)));
}

py::tuple rowOf(const Guess &guess)
{
    return py::make_tuple(
        toPython(className(guess.shape.classId)), static_cast<int>(guess.shape.form),
        static_cast<int>(guess.shape.direction), toPython(guess.verdict), toPython(guess.reason));
}

py::object checkMessage(py::handle message, const py::str &className, py::handle form,
                        py::handle direction, py::handle request, py::handle announcedData)
{
    const QByteArray bytes = messageFrom(message);
    const MessageShape shape = shapeFrom(className, form, direction);
    const CheckOptions options = checkOptionsFrom(request, announcedData);
    const Verdict verdict = withoutLock(bytes.size(), [&] { return check(bytes, shape, options); });
    return toPython(verdict);
}

py::list explainMessage(py::handle message, const py::str &className, py::handle form,
                        py::handle direction)
{
    const QByteArray bytes = messageFrom(message);
    const MessageShape shape = shapeFrom(className, form, direction);
    const QVector<ExplainedField> fields =
        withoutLock(bytes.size(), [&] { return explain(bytes, shape); });
    py::list explained;
    for (const ExplainedField &field : fields)
        explained.append(rowOf(field));
    return explained;
}

py::list guessMessage(py::handle message)
{
    const QByteArray bytes = messageFrom(message);
    const QVector<Guess> guesses = withoutLock(bytes.size(), [&] { return guess(bytes); });
    py::list made;
    for (const Guess &one : guesses)
        made.append(rowOf(one));
    return made;
}

py::object guessBest(py::handle message, py::handle className, py::handle form,
                     py::handle direction)
{
    const QByteArray bytes = messageFrom(message);
    KnownShape known;
    const py::int_ none(0);
    if (!className.is_none())
        known.classId = shapeFrom(py::str(className), none, none).classId;
    if (!form.is_none())
        known.form = enumeratorFrom(form, "form", Form::Linux);
    if (!direction.is_none())
        known.direction = enumeratorFrom(direction, "direction", Direction::Reply);
    const std::optional<Guess> best =
        withoutLock(bytes.size(), [&] { return bestGuess(bytes, known); });
    return best ? py::object(rowOf(*best)) : py::none();
}

bool shapeExists(const py::str &className, py::handle form, py::handle direction)
{
    return exists(shapeFrom(className, form, direction));
}

py::str describeShape(const py::str &className, py::handle form, py::handle direction)
{
    return toPython(describe(shapeFrom(className, form, direction)));
}

} // namespace

void defineInspect(py::module_ &module)
{
    module.def("check", &checkMessage);
    module.def("explain", &explainMessage);
    module.def("guess", &guessMessage);
    module.def("best_guess", &guessBest);
    module.def("shape_exists", &shapeExists);
    module.def("describe_shape", &describeShape);
}

} // namespace KorvinPython
