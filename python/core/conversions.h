#ifndef CONVERSIONS_H
#define CONVERSIONS_H

#include <korvinexchange/korvinexchangeglobal.h>
#include <korvininspect/messageshape.h>
#include <korvininspect/packagecheck.h>

#include <pybind11/pybind11.h>

#include <QtCore/QByteArray>
#include <QtCore/QJsonObject>
#include <QtCore/QString>

#include <optional>

/// @file
/// Converts values between Python and the libraries. Values of a wrong type raise TypeError, values
/// outside a range ValueError.

namespace KorvinPython {

namespace py = pybind11;

/// Imports the classes of values that the package defines in Python.
void importValues();

/// Raises ValueError.
[[noreturn]] void failValue(const QString &message);

/// Returns the bytes of a bytes-like object.
QByteArray bytesFrom(py::handle object);

/// Returns a message: the bytes of a bytes-like object, or the UTF-8 of a text.
QByteArray messageFrom(py::handle object);

/// Returns a text. A surrogate, which no encoding carries, raises ValueError.
QString textFrom(py::handle object);

/// Returns a whole number from @p least to @p most; @p name is for the message.
qint64 numberFrom(py::handle object, const char *name, qint64 least, qint64 most);

/// Returns an enumerator from 0 to @p last.
template <typename Enumeration>
Enumeration enumeratorFrom(py::handle object, const char *name, Enumeration last)
{
    return static_cast<Enumeration>(numberFrom(object, name, 0, static_cast<qint64>(last)));
}

/// Returns a time in seconds, which may be None.
std::optional<KorvinExchange::Time> timeFrom(py::handle object, const char *name);

/// Returns a duration in seconds, rounded to milliseconds.
std::chrono::milliseconds durationFrom(py::handle object, const char *name);

/// Returns the shape that the name of a class and the numbers of a form and a direction give.
KorvinInspect::MessageShape shapeFrom(const py::str &className, py::handle form,
                                      py::handle direction);

/// Returns the options of a check. None stands for no request, and for no limit.
KorvinInspect::CheckOptions checkOptionsFrom(py::handle request, py::handle announcedData);

/// Parses a JSON object.
QJsonObject objectFrom(py::handle json);

py::bytes toPython(const QByteArray &bytes);
py::str toPython(const QString &text);
py::object toPython(KorvinExchange::Time time);
py::object toPython(const KorvinInspect::Verdict &verdict);

/// Returns a JSON object as text.
py::str toText(const QJsonObject &object);

/// Returns a Python object of a module of the package, such as a class.
py::object pythonName(const char *module, const char *name);

/// Raises MemoryError if a verdict says that memory ran out.
void requireMemory(const KorvinInspect::Verdict &verdict);

/// Raises RefusedError unless a verdict accepts.
void requireAccepted(const KorvinInspect::Verdict &verdict);

/// Does work on @p size bytes that no Python code can reach, without Python's lock if it is long.
template <typename Work>
auto withoutLock(qint64 size, Work work)
{
    constexpr qint64 Long = 16384;
    if (size < Long)
        return work();
    const py::gil_scoped_release release;
    return work();
}

} // namespace KorvinPython

#endif
