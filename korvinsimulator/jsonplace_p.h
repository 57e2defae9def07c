#ifndef JSONPLACE_P_H
#define JSONPLACE_P_H

#include <QtCore/QByteArray>
#include <QtCore/QString>

namespace KorvinSimulator {

/// Returns line and column of a position, such as "3:14", both counted from 1.
QString lineAndColumn(const QByteArray &json, int position);

/// Returns line and column of what a message is about, which begins with the names of members and
/// the numbers of items that lead there, such as "units: 1: blocks: 2: size: ...". Where a member
/// is missing, this is the object.
///
/// @param json must be what QJsonDocument reads.
QString placeOf(const QByteArray &json, const QString &message);

/// Returns a message that names a member which an object has twice; empty where none has.
///
/// @param json must be what QJsonDocument reads.
QString findDoubledMember(const QByteArray &json);

} // namespace KorvinSimulator

#endif
