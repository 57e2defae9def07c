// The histogram of latencies.

#include "exchangesupport.h"

namespace {

struct Row
{
    qint64 latency;
    int step;
};

const Row Rows[] = {
    {0, 0},
    {1, 1},
    {2, 2},
    {3, 2},
    {4, 3},
    {1023, 10},
    {1024, 11},
    {(qint64(1) << 38) - 1, 38},
    {qint64(1) << 38, 39},
    {std::numeric_limits<qint64>::max(), 39},
    {-1, 0},
};

TEST(LatencyHistogram, StepsDouble)
{
    for (const Row &row : Rows) {
        LatencyHistogram histogram;
        histogram.add(Time(row.latency));
        EXPECT_EQ(histogram.total(), 1U);
        for (int step = 0; step < LatencyHistogram::Steps; ++step)
            EXPECT_EQ(histogram.count(step), step == row.step ? 1U : 0U) << row.latency;
    }
}

TEST(LatencyHistogram, HasNothingInStepsThatDoNotExist)
{
    LatencyHistogram histogram;
    histogram.add(Time(0));
    histogram.add(Time::max());
    for (const int step : {-1, LatencyHistogram::Steps, std::numeric_limits<int>::max(),
                           std::numeric_limits<int>::min()})
        EXPECT_EQ(histogram.count(step), 0U) << step;
}

TEST(LatencyHistogram, PercentileIsTheEndOfItsStep)
{
    LatencyHistogram histogram;
    EXPECT_EQ(histogram.percentile(0.5), Time(0));
    for (int i = 0; i < 98; ++i)
        histogram.add(Time(3)); // below 4
    histogram.add(Time(100));   // below 128
    histogram.add(Time(1000));  // below 1024
    EXPECT_EQ(histogram.percentile(0), Time(4));
    EXPECT_EQ(histogram.percentile(0.5), Time(4));
    EXPECT_EQ(histogram.percentile(0.98), Time(4));
    EXPECT_EQ(histogram.percentile(0.99), Time(128));
    EXPECT_EQ(histogram.percentile(0.991), Time(1024));
    EXPECT_EQ(histogram.percentile(1), Time(1024));
    histogram.add(Time((qint64(1) << 38) - 1));
    EXPECT_EQ(histogram.percentile(1), Time(qint64(1) << 38));
    histogram.add(std::chrono::hours(24 * 30)); // in the last step, which has no end
    EXPECT_EQ(histogram.percentile(1), Time::max());
}

} // namespace
