#include "message.h"

#include <korvinexchange/lengthprefixframing.h>
#include <korvinexchange/lineframing.h>

using namespace KorvinInspect;

namespace {

/// Byte frame, text record and Linux frame, in the order of Form.
constexpr const char *FormWords[] = {"frame", "text", "linux"};

std::optional<Form> formOf(const QByteArray &word)
{
    for (const Form form : {Form::Frame, Form::Text, Form::Linux}) {
        if (word == FormWords[static_cast<int>(form)])
            return form;
    }
    return {};
}

std::optional<ClassId> classIdOf(const QByteArray &word)
{
    // The combination is the last of them.
    for (int id = 0; id <= static_cast<int>(ClassId::PackageRequestCombination); ++id) {
        if (QLatin1String(word) == className(static_cast<ClassId>(id)))
            return static_cast<ClassId>(id);
    }
    return {};
}

} // namespace

std::unique_ptr<KorvinExchange::Framing> makeFraming(Wire wire)
{
    constexpr std::chrono::seconds Deadline(3);
    if (wire == Wire::Lines)
        return std::make_unique<KorvinExchange::LineFraming>(MaxMessageSize, Deadline);
    return std::make_unique<KorvinExchange::LengthPrefixFraming>(MaxMessageSize, Deadline);
}

QByteArray pack(const Message &message)
{
    return QByteArray(FormWords[static_cast<int>(message.form)]) + ' '
        + className(message.classId).toLatin1() + ' ' + message.bytes;
}

std::optional<Message> unpack(const QByteArray &bytes)
{
    const int formEnd = bytes.indexOf(' ');
    const int classEnd = bytes.indexOf(' ', formEnd + 1);
    if (classEnd < 0)
        return {};
    const std::optional<Form> form = formOf(bytes.left(formEnd));
    const std::optional<ClassId> classId =
        classIdOf(bytes.mid(formEnd + 1, classEnd - formEnd - 1));
    if (!form || !classId)
        return {};
    return Message{*classId, *form, bytes.mid(classEnd + 1)};
}
