// All orders of events for a few requests and faults. One request has all kinds of fault up to
// twice each, and so have two writes; other pairs of requests have two kinds up to twice each.
// Three requests never have more than two kinds together: three reads have one kind up to twice,
// three writes two kinds up to twice each, and reads and writes together two kinds once each.

#include "enumeration.h"
#include "testsupport.h"

namespace {

struct Row
{
    const char *requests;
    EnumeratedFaults faults;
    int states; ///< At least: fewer would mean that orders are left out.
};

void PrintTo(const Row &row, std::ostream *out)
{
    *out << row.requests << ", " << row.faults.duplicates << " duplicates, " << row.faults.spoilt
         << " spoilt, " << row.faults.cancelled << " cancelled, " << row.faults.lost
         << " lost links, " << row.faults.ticks << " ticks";
}

class Orders : public testing::TestWithParam<Row>
{
};

TEST_P(Orders, AllHold)
{
    const Row &row = GetParam();
    const EnumerationResult result = enumerateOrders(row.requests, row.faults);
    EXPECT_EQ(result.failure, QString());
    EXPECT_GE(result.states, row.states);
    RecordProperty("states", result.states);
    RecordProperty("events", result.events);
}

const Row Rows[] = {
    {"r", {2, 2, 2, 2, 7}, 900},     {"w", {2, 2, 2, 2, 7}, 120},
    {"rr", {2, 2, 0, 0, 5}, 40000},  {"rr", {2, 0, 2, 0, 6}, 13000},
    {"rr", {0, 2, 0, 2, 5}, 40000},  {"rr", {0, 0, 2, 2, 6}, 15000},
    {"rw", {2, 2, 0, 0, 6}, 8000},   {"rw", {0, 0, 2, 2, 6}, 2800},
    {"ww", {2, 2, 2, 2, 5}, 4000},   {"rrr", {0, 0, 0, 0, 6}, 16000},
    {"rrr", {2, 0, 0, 0, 5}, 29000}, {"rrr", {0, 2, 0, 0, 4}, 50000},
    {"rrr", {0, 0, 2, 0, 5}, 80000}, {"rrr", {0, 0, 0, 2, 5}, 70000},
    {"rwr", {1, 1, 0, 0, 5}, 45000}, {"rwr", {1, 0, 1, 0, 5}, 33000},
    {"wrw", {0, 1, 1, 0, 5}, 20000}, {"wrw", {0, 0, 1, 1, 5}, 15000},
    {"www", {2, 2, 0, 0, 5}, 3000},  {"www", {0, 0, 2, 2, 5}, 5700},
};

INSTANTIATE_TEST_SUITE_P(Engine, Orders, testing::ValuesIn(Rows));

} // namespace
