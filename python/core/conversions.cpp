#include "conversions.h"

#include <korvininspect/inputtext.h>
#include <korvininspect/packageclass.h>

#include <QtCore/QJsonDocument>

#include <cmath>

using namespace KorvinInspect;

namespace KorvinPython {

namespace {

/// The largest array that Qt 5 can make, with room for what it adds.
constexpr Py_ssize_t MostBytes = std::numeric_limits<int>::max() - 64;

QByteArray arrayOf(const void *bytes, Py_ssize_t size)
{
    if (size > MostBytes)
        failValue(QStringLiteral("%1 bytes; at most %2 are possible").arg(size).arg(MostBytes));
    return {static_cast<const char *>(bytes), static_cast<int>(size)};
}

/// Releases the buffer of an object.
class Buffer
{
public:
    explicit Buffer(py::handle object)
    {
        if (PyObject_GetBuffer(object.ptr(), &m_view, PyBUF_SIMPLE) != 0)
            throw py::error_already_set();
    }

    Buffer(const Buffer &) = delete;
    Buffer &operator=(const Buffer &) = delete;

    ~Buffer() { PyBuffer_Release(&m_view); }

    QByteArray bytes() const { return arrayOf(m_view.buf, m_view.len); }

private:
    Py_buffer m_view = {};
};

void appendCharacter(QString *text, Py_UCS4 character)
{
    if (QChar::isSurrogate(character)) {
        failValue(QStringLiteral("the text contains the surrogate U+%1, which no encoding carries")
                      .arg(QString::number(character, 16).toUpper()));
    }
    if (QChar::requiresSurrogates(character)) {
        text->append(QChar(QChar::highSurrogate(character)));
        text->append(QChar(QChar::lowSurrogate(character)));
    } else {
        text->append(QChar(static_cast<ushort>(character)));
    }
}

/// Classes that the package defines in Python. They live as long as the process.
py::handle verdictType;
py::handle refusedErrorType;
py::handle acceptedVerdict;

double secondsFrom(py::handle object, const char *name)
{
    const double seconds = PyFloat_AsDouble(object.ptr());
    if (seconds == -1.0 && PyErr_Occurred())
        throw py::error_already_set();
    constexpr double Most = 1e12;
    if (!(std::abs(seconds) <= Most)) {
        failValue(QStringLiteral("%1: not a time in seconds from -%2 to %2")
                      .arg(QLatin1String(name))
                      .arg(Most));
    }
    return seconds;
}

} // namespace

void importValues()
{
    verdictType = pythonName("_values", "Verdict").release();
    refusedErrorType = pythonName("_values", "RefusedError").release();
    acceptedVerdict = verdictType().release();
}

void failValue(const QString &message)
{
    PyErr_SetObject(PyExc_ValueError, toPython(message).ptr());
    throw py::error_already_set();
}

QByteArray bytesFrom(py::handle object)
{
    if (PyBytes_Check(object.ptr()))
        return arrayOf(PyBytes_AS_STRING(object.ptr()), PyBytes_GET_SIZE(object.ptr()));
    return Buffer(object).bytes();
}

QByteArray messageFrom(py::handle object)
{
    if (!PyUnicode_Check(object.ptr()))
        return bytesFrom(object);
    Py_ssize_t size = 0;
    const char *utf8 = PyUnicode_AsUTF8AndSize(object.ptr(), &size);
    if (!utf8)
        throw py::error_already_set();
    return arrayOf(utf8, size);
}

QString textFrom(py::handle object)
{
    if (!PyUnicode_Check(object.ptr()))
        throw py::type_error(std::string("expected a str, not ") + Py_TYPE(object.ptr())->tp_name);
    const Py_ssize_t length = PyUnicode_GET_LENGTH(object.ptr());
    constexpr Py_ssize_t MostUnits = MostBytes / 4;
    if (length > MostUnits)
        failValue(QStringLiteral("a text of %1 characters is too long").arg(length));
    const int kind = PyUnicode_KIND(object.ptr());
    const void *characters = PyUnicode_DATA(object.ptr());
    if (kind == PyUnicode_1BYTE_KIND)
        return QString::fromLatin1(static_cast<const char *>(characters), static_cast<int>(length));
    QString text;
    text.reserve(static_cast<int>(length));
    for (Py_ssize_t i = 0; i < length; ++i)
        appendCharacter(&text, PyUnicode_READ(kind, characters, i));
    return text;
}

qint64 numberFrom(py::handle object, const char *name, qint64 least, qint64 most)
{
    const auto index = py::reinterpret_steal<py::object>(PyNumber_Index(object.ptr()));
    if (!index)
        throw py::error_already_set();
    int overflow = 0;
    const qint64 number = PyLong_AsLongLongAndOverflow(index.ptr(), &overflow);
    if (overflow != 0 || number < least || number > most) {
        failValue(QStringLiteral("%1: not a whole number from %2 to %3")
                      .arg(QLatin1String(name))
                      .arg(least)
                      .arg(most));
    }
    return number;
}

std::optional<KorvinExchange::Time> timeFrom(py::handle object, const char *name)
{
    if (object.is_none())
        return {};
    constexpr double Microseconds = 1e6;
    return KorvinExchange::Time(std::llround(secondsFrom(object, name) * Microseconds));
}

std::chrono::milliseconds durationFrom(py::handle object, const char *name)
{
    constexpr double Milliseconds = 1e3;
    return std::chrono::milliseconds(std::llround(secondsFrom(object, name) * Milliseconds));
}

MessageShape shapeFrom(const py::str &className, py::handle form, py::handle direction)
{
    MessageShape shape;
    const QString name = textFrom(className);
    if (const PackageClass *found = packageClass(name))
        shape.classId = found->id;
    else if (name == KorvinInspect::className(ClassId::PackageRequestCombination))
        shape.classId = ClassId::PackageRequestCombination;
    else
        failValue(QStringLiteral("there is no class \"%1\"").arg(printable(name)));
    shape.form = enumeratorFrom(form, "form", Form::Linux);
    shape.direction = enumeratorFrom(direction, "direction", Direction::Reply);
    return shape;
}

CheckOptions checkOptionsFrom(py::handle request, py::handle announcedData)
{
    CheckOptions options;
    if (!announcedData.is_none()) {
        options.announcedData = static_cast<int>(
            numberFrom(announcedData, "announced_data", 0, std::numeric_limits<int>::max()));
    }
    if (!request.is_none())
        options.request = messageFrom(request);
    return options;
}

QJsonObject objectFrom(py::handle json)
{
    const QByteArray text = messageFrom(json);
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(text, &error);
    if (error.error != QJsonParseError::NoError) {
        failValue(
            QStringLiteral("not JSON: %1 at byte %2").arg(error.errorString()).arg(error.offset));
    }
    if (!document.isObject())
        failValue(QStringLiteral("not a JSON object"));
    return document.object();
}

py::bytes toPython(const QByteArray &bytes)
{
    return {bytes.constData(), static_cast<std::size_t>(bytes.size())};
}

py::str toPython(const QString &text)
{
    int byteOrder = Q_BYTE_ORDER == Q_LITTLE_ENDIAN ? -1 : 1;
    constexpr Py_ssize_t UnitSize = sizeof(ushort);
    PyObject *made = PyUnicode_DecodeUTF16(reinterpret_cast<const char *>(text.utf16()),
                                           UnitSize * text.size(), "replace", &byteOrder);
    if (!made)
        throw py::error_already_set();
    return py::reinterpret_steal<py::str>(made);
}

py::object toPython(KorvinExchange::Time time)
{
    return py::float_(std::chrono::duration<double>(time).count());
}

py::object toPython(const Verdict &verdict)
{
    requireMemory(verdict);
    if (verdict.isOk())
        return py::reinterpret_borrow<py::object>(acceptedVerdict);
    return verdictType(static_cast<int>(verdict.refusal), toPython(verdict.field), verdict.item,
                       verdict.position, toPython(verdict.expected), toPython(verdict.found),
                       toPython(describe(verdict)));
}

py::str toText(const QJsonObject &object)
{
    const QByteArray json = QJsonDocument(object).toJson(QJsonDocument::Compact);
    PyObject *text = PyUnicode_DecodeUTF8(json.constData(), json.size(), "replace");
    if (!text)
        throw py::error_already_set();
    return py::reinterpret_steal<py::str>(text);
}

py::object pythonName(const char *module, const char *name)
{
    return py::module_::import((std::string("korvinpackage.") + module).c_str()).attr(name);
}

void requireMemory(const Verdict &verdict)
{
    if (verdict.refusal == Refusal::OutOfMemory)
        throw std::bad_alloc();
}

void requireAccepted(const Verdict &verdict)
{
    if (verdict.isOk())
        return;
    const py::object told = toPython(verdict);
    PyErr_SetObject(refusedErrorType.ptr(), refusedErrorType(told).ptr());
    throw py::error_already_set();
}

} // namespace KorvinPython
