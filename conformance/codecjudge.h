#ifndef CODECJUDGE_H
#define CODECJUDGE_H

#include <QtCore/QByteArray>
#include <QtCore/QJsonObject>
#include <QtCore/QString>
#include <QtCore/QVector>

/// @file
/// Reads the cases of the conformance kit and judges answers. docs/conformance.md describes both.

/// The verdict on an answer.
struct Judgement
{
    enum Kind {
        Passed,
        Failed,
        Unsupported, ///< The program says that it does not implement this.
        NoAnswer ///< The line is not an answer to the case; later lines may be out of step, too.
    } kind = Passed;
    QString reason; ///< Why the case failed or has no answer.
};

/// Reads cases, one in each line.
///
/// @param cases becomes the cases.
/// @return what is wrong with the first line that is not a case, or an empty text.
QString casesFromLines(const QByteArray &lines, QVector<QJsonObject> *cases);

/// Returns the part of a case that the program gets: all except the expected answer.
QByteArray questionOf(const QJsonObject &ofCase);

/// Judges the line that a program has answered.
Judgement judge(const QJsonObject &ofCase, const QByteArray &answerLine);

/// Returns the kind of a case: task, class, form and direction, and whether a reply is short or
/// full. A program supports all cases of a kind or none.
QString kindOf(const QJsonObject &ofCase);

#endif
