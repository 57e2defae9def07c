#include "testsupport.h"

#include <korvinsimulator/faultplan.h>

#include <map>

using namespace KorvinSimulator;

namespace {

TEST(FaultPlan, HasNoFaultsAtFirst)
{
    FaultPlan plan;
    for (int i = 0; i < 1000; ++i)
        EXPECT_EQ(plan.next().kind, FaultKind::None);
}

TEST(FaultPlan, FollowsAScript)
{
    KorvinSimulator::Fault late;
    late.kind = FaultKind::Delay;
    late.delay = 5;
    KorvinSimulator::Fault lost;
    lost.kind = FaultKind::DropReply;
    FaultPlan plan = FaultPlan::scripted({{}, late, lost});
    EXPECT_EQ(plan.next().kind, FaultKind::None);
    const KorvinSimulator::Fault second = plan.next();
    EXPECT_EQ(second.kind, FaultKind::Delay);
    EXPECT_EQ(second.delay, 5);
    EXPECT_EQ(plan.next().kind, FaultKind::DropReply);
    EXPECT_EQ(plan.next().kind, FaultKind::None);
}

TEST(FaultPlan, ChoosesByChanceAsOftenAsItIsTold)
{
    FaultPlan plan = FaultPlan::random(1, 0.25);
    std::map<FaultKind, int> counts;
    constexpr int Requests = 40000;
    for (int i = 0; i < Requests; ++i) {
        const KorvinSimulator::Fault fault = plan.next();
        ++counts[fault.kind];
        if (fault.kind == FaultKind::None)
            continue;
        EXPECT_GE(fault.delay, 1);
        EXPECT_LE(fault.delay, 100);
        EXPECT_EQ(fault.outcome.ackCode, 6U);
        EXPECT_EQ(fault.outcome.commResult, OrvexEnum::CommOk);
        EXPECT_EQ(fault.outcome.packResult, OrvexEnum::PackFailure);
    }
    EXPECT_EQ(counts.size(), 9U);
    EXPECT_EQ(FaultPlan::all().size(), 8U);
    EXPECT_NEAR(counts[FaultKind::None], 30000, 400);
    for (const FaultKind kind : FaultPlan::all())
        EXPECT_NEAR(counts[kind], 1250, 150) << describe(kind).toStdString();
}

TEST(FaultPlan, DependsOnTheSeedAlone)
{
    const auto faults = [](quint32 seed) {
        FaultPlan plan = FaultPlan::random(seed, 0.5);
        std::vector<std::pair<FaultKind, quint32>> list;
        for (int i = 0; i < 100; ++i) {
            const KorvinSimulator::Fault fault = plan.next();
            list.emplace_back(fault.kind, fault.position);
        }
        return list;
    };
    EXPECT_EQ(faults(7), faults(7));
    EXPECT_NE(faults(7), faults(8));
}

TEST(FaultPlan, TakesTheExtremes)
{
    FaultPlan always = FaultPlan::random(1, 1, {FaultKind::Corrupt});
    FaultPlan never = FaultPlan::random(1, 0);
    FaultPlan nothing = FaultPlan::random(1, 1, {});
    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(always.next().kind, FaultKind::Corrupt);
        EXPECT_EQ(never.next().kind, FaultKind::None);
        EXPECT_EQ(nothing.next().kind, FaultKind::None);
    }
}

TEST(FaultPlan, KindsHaveWords)
{
    const std::pair<FaultKind, const char *> rows[] = {
        {FaultKind::None, "no fault"},
        {FaultKind::DropRequest, "lost request"},
        {FaultKind::DropReply, "lost reply"},
        {FaultKind::Delay, "late reply"},
        {FaultKind::Corrupt, "corrupt reply"},
        {FaultKind::Truncate, "truncated reply"},
        {FaultKind::Duplicate, "reply sent twice"},
        {FaultKind::StaleSerial, "reply with a stale serial number"},
        {FaultKind::Result, "given outcome"},
    };
    for (const auto &[kind, words] : rows)
        EXPECT_EQ(describe(kind), QLatin1String(words));
}

} // namespace
