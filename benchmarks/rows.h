#ifndef ROWS_H
#define ROWS_H

#include <benchmark/benchmark.h>

#include <QtCore/QtGlobal>

#include <cstdlib>
#include <iostream>
#include <string>

/// What a row of the table measures. Its benchmark is named
/// "who/way/form/subject/operation/payload/object", its label says what is in memory.
struct Row
{
    std::string who;           ///< "library", a peer, or "floor"
    std::string way = "plain"; ///< how it is used: "kept builder", "reserve", ...
    std::string form;          ///< "request frame", "reply record", ...
    std::string subject;       ///< the class
    std::string operation;     ///< "encode", "decode", ...
    std::string payload;       ///< "small": no data; "large": a block of 2,048 bytes; or a size
    std::string object;        ///< "reused" or "fresh": made and destroyed in each iteration

    /// Where the result is: "owned", in "kept" memory that the next one overwrites, or a "view" of
    /// the bytes. Then how the object holds the block of data: "block shared" (reference-counted),
    /// "block copied", or "block in place" (there is no object).
    std::string memory;

    qint64 bytes = 0; ///< what the floor copies: the size of the frame or record in memory
};

/// Remembers a size for which addFloorRows() adds a row.
void rememberSize(qint64 bytes);

inline std::string nameOf(const Row &row)
{
    return row.who + '/' + row.way + '/' + row.form + '/' + row.subject + '/' + row.operation + '/'
        + row.payload + '/' + row.object;
}

/// Measures an operation. It keeps its result alive, and returns whether the result is right.
template <typename Operation>
void measure(benchmark::State &state, const Row &row, Operation &operation)
{
    for ([[maybe_unused]] auto iteration : state) {
        if (!operation()) {
            state.SkipWithError("wrong result");
            break;
        }
    }
    state.SetLabel(row.memory);
    state.counters["bytes"] =
        benchmark::Counter(static_cast<double>(row.bytes), benchmark::Counter::kAvgThreads);
}

/// Adds a row.
template <typename Operation>
void addRow(const Row &row, Operation operation)
{
    rememberSize(row.bytes);
    benchmark::RegisterBenchmark(
        nameOf(row).c_str(),
        [row, operation](benchmark::State &state) mutable { measure(state, row, operation); });
}

/// Adds a row that 1, 2 and 4 threads run at the same time. @p make makes the operation of one
/// thread, which shares nothing with the others.
template <typename Make>
void addThreadedRows(Row row, Make make)
{
    row.way = "threads";
    benchmark::RegisterBenchmark(nameOf(row).c_str(),
                                 [row, make](benchmark::State &state) {
                                     auto operation = make();
                                     measure(state, row, operation);
                                 })
        ->Threads(1)
        ->Threads(2)
        ->Threads(4)
        ->UseRealTime();
}

/// Ends the program if @p ok is false: what is to be measured does not work.
inline void require(bool condition, const std::string &what)
{
    if (condition)
        return;
    std::cerr << "benchmarks: failed: " << what << std::endl;
    std::exit(1);
}

// Each adds the rows of its file.
void addCodecRows();
void addExchangeRows();
void addTextPeerRows();
void addFlatBuffersRows();
void addMsgpackRows();
void addProtobufRows();
void addQtRows();
void addFloorRows(); ///< comes last, since it needs the sizes of all other rows

#endif
