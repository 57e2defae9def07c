#ifndef KORVININSPECT_PACKAGEEXPLAIN_H
#define KORVININSPECT_PACKAGEEXPLAIN_H

#include <korvininspect/korvininspectglobal.h>
#include <korvininspect/messageshape.h>

#include <QtCore/QByteArray>
#include <QtCore/QJsonArray>
#include <QtCore/QStringList>
#include <QtCore/QVariant>
#include <QtCore/QVector>

#include <orvexenum.h>

namespace KorvinInspect {

/// One field of a frame or record, as the decoder of the class reads it.
struct ExplainedField
{
    QString name;    ///< As in JSON; empty for bytes or columns that the decoder does not read.
    int item = 0;    ///< Item of a combination, counted from 1; 0 elsewhere.
    int column = -1; ///< Column of the record or item, counted from 0; -1 in a frame.

    int offset = 0; ///< Position in bytes, or in characters of a record.
    int width = 0;  ///< Bytes or characters of the field that are there.

    /// The bytes of the field; in a record its characters in UTF-8.
    QByteArray raw;

    /// The value that the decoder reads: a number (qlonglong or qulonglong), bool, QString or
    /// QByteArray. Invalid if the decoder does not read it, and for data that the input announces
    /// but does not hold, which reads as zeros.
    QVariant value;

    QString meaning;     ///< Name of a code, or the value with its unit; may be empty.
    QString description; ///< What the field is for.
    QStringList remarks; ///< What is unusual, and what the decoder makes of it.
};

/// Explains a frame or record field by field, in wire order.
///
/// The fields cover the input without a gap, except for the separators of a record. If a decoder
/// reads bytes or columns twice, or if an encoder writes another field there, remarks say so. The
/// input need not be valid: what a decoder refuses is explained as far as possible. Use check() to
/// find out whether the input is valid.
///
/// @param input is the frame, or the record in UTF-8.
/// @return the fields; none for a shape that does not exist.
KORVININSPECT_EXPORT QVector<ExplainedField> explain(const QByteArray &input,
                                                     const MessageShape &shape);

/// Does the same for a record that is text already.
KORVININSPECT_EXPORT QVector<ExplainedField> explain(const QString &record,
                                                     const MessageShape &shape);

/// Returns an array with a JSON object for each field. Its members have the names of those of
/// ExplainedField; "raw" is hexadecimal digits for a frame, and text for a record.
KORVININSPECT_EXPORT QJsonArray explanationToJson(const QVector<ExplainedField> &fields);

/// Returns the same as text: what QJsonDocument makes of explanationToJson() in its compact format,
/// in a fraction of the time. Empty if memory runs out.
KORVININSPECT_EXPORT QByteArray explanationToJsonText(const QVector<ExplainedField> &fields);

/// Returns the value for people: a number in decimal and hexadecimal, a text in quotation marks, or
/// the first 32 bytes of data.
KORVININSPECT_EXPORT QString valueForPeople(const ExplainedField &field);

/// Returns a result for people: its name as in records, such as "timeout", or "code 9" where it has
/// none.
/// @{
KORVININSPECT_EXPORT QString describe(OrvexEnum::CommResults result);
KORVININSPECT_EXPORT QString describe(OrvexEnum::PackageResults result);
/// @}

} // namespace KorvinInspect

#endif
