#ifndef KORVININSPECT_PACKAGEEXPLAIN_H
#define KORVININSPECT_PACKAGEEXPLAIN_H

#include <korvininspect/korvininspectglobal.h>
#include <korvininspect/messageshape.h>

#include <QtCore/QByteArray>
#include <QtCore/QJsonArray>
#include <QtCore/QStringList>
#include <QtCore/QVariant>
#include <QtCore/QVector>

namespace KorvinInspect {

/// One field of a frame or record, as the decoder of the class takes it.
struct ExplainedField
{
    QString name;    ///< As in JSON; empty for what the decoder does not read.
    int item = 0;    ///< Item of a combination, counted from 1; 0 elsewhere.
    int column = -1; ///< Column of the record or item, counted from 0; -1 in a frame.

    int offset = 0; ///< In bytes, or in characters of the record.
    int width = 0;  ///< As many bytes or characters as there are of the field.

    /// The bytes themselves; of a record the characters in UTF-8.
    QByteArray raw;

    /// What the decoder makes of it: a number (qlonglong or qulonglong), bool, QString or
    /// QByteArray. Invalid for what it does not read, and for data that the input announces but
    /// does not hold, which becomes zeros.
    QVariant value;

    QString meaning;     ///< Name of a code, or the value with its unit; may be empty.
    QString description; ///< What the field is for.
    QStringList remarks; ///< What is unusual about it, and what becomes of it.
};

/// Explains a frame or record field by field, in wire order.
///
/// The fields cover the input without a gap, but for the separators of a record. Where a decoder
/// reads bytes or columns twice, or an encoder put another field there, remarks say so. The input
/// need not be valid: what a decoder refuses is explained as far as it goes; check() says whether
/// it is.
///
/// @param input is the frame, or the record in UTF-8.
/// @return nothing for a shape that does not exist.
KORVININSPECT_EXPORT QVector<ExplainedField> explain(const QByteArray &input,
                                                     const MessageShape &shape);

/// The same for a record that is text already.
KORVININSPECT_EXPORT QVector<ExplainedField> explain(const QString &record,
                                                     const MessageShape &shape);

/// The fields as JSON, an object for each: its members with the same names, "raw" of frames in
/// hexadecimal digits and of records as text.
KORVININSPECT_EXPORT QJsonArray explanationToJson(const QVector<ExplainedField> &fields);

/// The same as text: what QJsonDocument makes of explanationToJson() in its compact format, in a
/// fraction of the time. Empty where memory runs out.
KORVININSPECT_EXPORT QByteArray explanationToJsonText(const QVector<ExplainedField> &fields);

/// The value for people: a number in decimal and hexadecimal, a text in quotation marks, of data
/// the first 32 bytes.
KORVININSPECT_EXPORT QString valueForPeople(const ExplainedField &field);

} // namespace KorvinInspect

#endif
