// What no codec can go below: the memory of the result.

#include "rows.h"
#include "samples.h"

#include <QtCore/QObject>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <set>

namespace {

std::set<qint64> &sizes()
{
    static std::set<qint64> all;
    return all;
}

void addCopyRows(qint64 bytes)
{
    const QByteArray source = randomBlock(static_cast<int>(bytes), 1);
    Row row;
    row.who = "floor";
    row.form = "memory";
    row.payload = std::to_string(bytes);
    row.object = "fresh";
    row.note = "owned";
    row.bytes = bytes;

    row.subject = "malloc + memcpy + free";
    row.operation = "copy";
    addRow(row, [source] {
        const auto size = static_cast<std::size_t>(source.size());
        void *copy = std::malloc(size);
        std::memcpy(copy, source.constData(), size);
        benchmark::DoNotOptimize(copy);
        benchmark::ClobberMemory();
        std::free(copy);
        return copy != nullptr;
    });
    row.subject = "QByteArray";
    addRow(row, [source] {
        QByteArray copy = source;
        benchmark::DoNotOptimize(copy.data()); // no longer shared
        return copy.size() == source.size();
    });
}

} // namespace

void rememberSize(qint64 bytes)
{
    sizes().insert(bytes);
}

void addFloorRows()
{
    const std::set<qint64> all = sizes();
    for (const qint64 bytes : all)
        addCopyRows(bytes);
    Row row;
    row.who = "floor";
    row.form = "memory";
    row.subject = "QObject";
    row.operation = "new + delete";
    row.payload = "small";
    row.object = "fresh";
    addRow(row, [] {
        const auto object = std::make_unique<QObject>();
        benchmark::DoNotOptimize(object.get());
        return true;
    });
}
