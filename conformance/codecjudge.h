#ifndef CODECJUDGE_H
#define CODECJUDGE_H

#include <QtCore/QByteArray>
#include <QtCore/QJsonObject>
#include <QtCore/QString>
#include <QtCore/QVector>

/// @file
/// The cases of the conformance kit, and what is right or wrong about an answer.
/// docs/conformance.md describes both.

/// The verdict on an answer.
struct Judgement
{
    enum Kind {
        Passed,
        Failed,
        Unsupported, ///< The program says that it does not implement this.
        NoAnswer     ///< What came is not an answer to the case; the next line may be no better.
    } kind = Passed;
    QString reason; ///< Of a case that failed or has no answer.
};

/// Reads cases, one in each line.
///
/// @param cases becomes the cases.
/// @return what is wrong with the first line that is not a case, or an empty text.
QString casesFromLines(const QByteArray &lines, QVector<QJsonObject> *cases);

/// Returns what the program gets of a case: everything except the expected answer.
QByteArray questionOf(const QJsonObject &ofCase);

/// Judges the line that a program has answered.
Judgement judge(const QJsonObject &ofCase, const QByteArray &answerLine);

/// What a program supports or does not, as a whole: the task, class, form and direction of a case,
/// and whether a reply is short or full.
QString kindOf(const QJsonObject &ofCase);

#endif
