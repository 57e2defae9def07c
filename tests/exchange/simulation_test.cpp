// Short runs of the simulation; the test exchange_simulation_million and .ci/long.sh simulate make
// long ones.

#include "simulation.h"

namespace {

TEST(EngineSimulation, WhatTheEnginePromisesHolds)
{
    SimulationCounts counts;
    for (quint64 seed = 1; seed <= 200; ++seed) {
        const QString failure = Simulation(seed, 100, &counts).run();
        ASSERT_EQ(failure, QString())
            << "seed " << seed << "; to see it: korvinexchange_simulation --seed " << seed
            << " 100";
    }
    // Each event has happened; otherwise the runs would prove little.
    for (const char *what : {"sent",
                             "repeated",
                             "answered",
                             "late",
                             "duplicate",
                             "unknown",
                             "refused reply",
                             "ended: success",
                             "ended: failure",
                             "ended: timed out",
                             "ended: cancelled",
                             "ended: link lost",
                             "ended: refused",
                             "ended: refused reply",
                             "refused at once",
                             "link lost",
                             "full transport",
                             "lost request",
                             "lost reply",
                             "request twice",
                             "reply twice",
                             "delay",
                             "spoilt",
                             "pause",
                             "failure",
                             "events not taken",
                             "clock back",
                             "clock ahead"})
        EXPECT_GT(counts[what], 20U) << what;
}

TEST(EngineSimulation, TheSameSeedPlaysTheSame)
{
    SimulationCounts first;
    SimulationCounts second;
    Simulation(7, 300, &first).run();
    Simulation(7, 300, &second).run();
    EXPECT_EQ(first, second);
    EXPECT_GT(first["sent"], 0U);
}

} // namespace
