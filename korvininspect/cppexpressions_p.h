#ifndef CPPEXPRESSIONS_P_H
#define CPPEXPRESSIONS_P_H

#include <QtCore/QByteArray>
#include <QtCore/QString>

/// @file
/// Writes values as C++ expressions.

namespace KorvinInspect {

QString numberExpression(qint64 number);
QString numberExpression(quint64 number);
QString textExpression(const QString &text);
QString dataExpression(const QByteArray &data);

} // namespace KorvinInspect

#endif
