// The report that CI systems read.

#include "testreport.h"
#include "testsupport.h"

namespace {

const QVector<TestResult> Results{
    {TestResult::Passed, QStringLiteral("frame"), QStringLiteral("first"), {}, 0.0124},
    {TestResult::Failed, QStringLiteral("frame"), QStringLiteral("a<b & \"c\""),
     QStringLiteral("expected 1,\ngot \u0001\u00E9"), 2},
    {TestResult::Unsupported, QStringLiteral("text"), QStringLiteral("third"), {}, 0},
    {TestResult::NotRun, QStringLiteral("text"), QStringLiteral("fourth"), {}, 0},
};

TEST(TestReport, CountsVerdicts)
{
    for (const auto verdict :
         {TestResult::Passed, TestResult::Failed, TestResult::Unsupported, TestResult::NotRun})
        EXPECT_EQ(countOf(verdict, Results), 1);
    EXPECT_EQ(countOf(TestResult::Passed, {}), 0);
}

TEST(TestReport, IsJUnitXml)
{
    EXPECT_EQ(junitXml(QStringLiteral("127.0.0.1:5000"), Results).toStdString(),
              R"(<?xml version="1.0" encoding="UTF-8"?>)"
              "\n"
              R"(<testsuite name="127.0.0.1:5000" tests="4" failures="1" errors="0" skipped="2">)"
              "\n"
              R"(    <testcase classname="frame" name="first" time="0.012"/>)"
              "\n"
              R"(    <testcase classname="frame" name="a&lt;b &amp; &quot;c&quot;" time="2.000">)"
              "\n"
              "        <failure message=\"expected 1,\uFFFDgot \uFFFD\u00E9\"/>\n"
              "    </testcase>\n"
              R"(    <testcase classname="text" name="third" time="0.000">)"
              "\n"
              "        <skipped message=\"unsupported\"/>\n"
              "    </testcase>\n"
              R"(    <testcase classname="text" name="fourth" time="0.000">)"
              "\n"
              "        <skipped message=\"not run\"/>\n"
              "    </testcase>\n"
              "</testsuite>\n");
}

} // namespace
