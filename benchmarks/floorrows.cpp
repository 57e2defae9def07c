// Measures the floor below which no codec can be: allocating and filling the memory of the result.

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

bool copyOnce(const QByteArray &source)
{
    const auto size = static_cast<std::size_t>(source.size());
    void *copy = std::malloc(size);
    std::memcpy(copy, source.constData(), size);
    benchmark::DoNotOptimize(copy);
    benchmark::ClobberMemory();
    std::free(copy);
    return copy != nullptr;
}

Row copyRow(qint64 bytes)
{
    Row row;
    row.who = "floor";
    row.form = "memory";
    row.subject = "malloc + memcpy + free";
    row.operation = "copy";
    row.payload = std::to_string(bytes);
    row.object = "fresh";
    row.memory = "owned";
    row.bytes = bytes;
    return row;
}

void addCopyRow(qint64 bytes)
{
    const QByteArray source = randomBlock(static_cast<int>(bytes), 1);
    addRow(copyRow(bytes), [source] { return copyOnce(source); });
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
        addCopyRow(bytes);
    addThreadedRows(copyRow(LargeBlock), [] {
        return [source = randomBlock(LargeBlock, 1)] { return copyOnce(source); };
    });
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
