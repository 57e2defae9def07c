#ifndef ROWS_H
#define ROWS_H

#include <benchmark/benchmark.h>

#include <QtCore/QtGlobal>

#include <cstdlib>
#include <iostream>
#include <string>

/// What a row of the table measures. Its benchmark is named
/// "who/form/subject/operation/payload/object", its label is the note.
struct Row
{
    std::string who;       ///< "library", a peer, or "floor"
    std::string form;      ///< "request frame", "reply record", ...
    std::string subject;   ///< the class
    std::string operation; ///< "encode", "decode", ...
    std::string payload;   ///< "small": no data; "large": a block of 2,048 bytes; or a size
    std::string object;    ///< "reused" or "fresh": made and destroyed in each iteration
    std::string note;      ///< owned or view, checksum or not
    qint64 bytes = 0;      ///< what the floor copies: the size of the frame or record in memory
};

void rememberSize(qint64 bytes);

/// Ends the program where what has to be measured does not work.
inline void require(bool condition, const std::string &what)
{
    if (condition)
        return;
    std::cerr << "benchmarks: failed: " << what << std::endl;
    std::exit(1);
}

/// Adds a row. The operation keeps its result alive and returns whether it is right.
template <typename Operation>
void addRow(const Row &row, Operation operation)
{
    const std::string name = row.who + '/' + row.form + '/' + row.subject + '/' + row.operation
        + '/' + row.payload + '/' + row.object;
    rememberSize(row.bytes);
    benchmark::RegisterBenchmark(name.c_str(), [row, operation](benchmark::State &state) mutable {
        for ([[maybe_unused]] auto iteration : state) {
            if (!operation()) {
                state.SkipWithError("wrong result");
                break;
            }
        }
        state.SetLabel(row.note);
        state.counters["bytes"] = static_cast<double>(row.bytes);
    });
}

// Each adds the rows of its file.
void addCodecRows();
void addTextPeerRows();
void addFramePeerRows();
void addFloorRows(); ///< last: it takes the sizes of all other rows

#endif
