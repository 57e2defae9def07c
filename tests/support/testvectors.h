#ifndef TESTVECTORS_H
#define TESTVECTORS_H

#include <korvininspect/packageforms.h>

#include <QtCore/QByteArray>
#include <QtCore/QJsonObject>

#include <limits>
#include <ostream>
#include <vector>

using namespace KorvinInspect;

/// A form as the vectors name it.
struct FormOfVector
{
    const char *name;
    Encoding encoding;
};

/// The forms that encoders make.
constexpr FormOfVector EncodedForms[] = {
    {"requestFrame", {Form::Frame, Direction::Request, ReplySize::Short}},
    {"shortReply", {Form::Frame, Direction::Reply, ReplySize::Short}},
    {"fullReply", {Form::Frame, Direction::Reply, ReplySize::Full}},
    {"requestRecord", {Form::Text, Direction::Request, ReplySize::Short}},
    {"replyRecord", {Form::Text, Direction::Reply, ReplySize::Short}},
    {"linuxRequest", {Form::Linux, Direction::Request, ReplySize::Short}},
};

constexpr FormOfVector LinuxReply = {"linuxReply",
                                     {Form::Linux, Direction::Reply, ReplySize::Short}};

/// A case of tests/data/vectors.
struct Vector
{
    QString className;
    QJsonObject content;
};

inline void PrintTo(const Vector &vector, std::ostream *out)
{
    *out << vector.className.toStdString() << ", "
         << vector.content.value(QLatin1String("name")).toString().toStdString();
}

/// All cases, spelled out: nothing in them refers to common.json, and "decodes" stands where a form
/// only has what differs.
std::vector<Vector> allVectors();

/// The bytes of a form, or the record in UTF-8.
QByteArray encodedForm(const QJsonObject &form);

/// Whether a package can hold the fields here: an offset of memory is a long, which has 32 bits on
/// some machines.
inline bool fitsThisMachine(const QJsonObject &fields)
{
    using Long = std::numeric_limits<long>;
    const double offset = fields.value(QLatin1String("offset")).toDouble();
    return offset >= static_cast<double>(Long::min()) && offset <= static_cast<double>(Long::max());
}

#endif
