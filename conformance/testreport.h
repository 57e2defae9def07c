#ifndef TESTREPORT_H
#define TESTREPORT_H

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QVector>

/// The result of one case or check.
struct TestResult
{
    enum Verdict { Passed, Failed, Unsupported, NotRun } verdict = NotRun;
    QString group;      ///< The group of cases or checks.
    QString name;       ///< The name of the case or check.
    QString reason;     ///< Why it failed.
    double seconds = 0; ///< How long it took.
};

/// Counts the results with a verdict.
int countOf(TestResult::Verdict verdict, const QVector<TestResult> &results);

/// Returns the results as JUnit XML, which CI systems read: one test suite, with a test case for
/// each. Unsupported cases and those that were not run count as skipped.
QByteArray junitXml(const QString &suite, const QVector<TestResult> &results);

#endif
