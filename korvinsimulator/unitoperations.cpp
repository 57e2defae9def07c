#include "unitoperations_p.h"

namespace KorvinSimulator {

namespace {

/// A place in a block.
struct Place
{
    Block *block = nullptr;
    int offset = 0;
};

/// Returns the place of a register; without a block if there is no such register.
Place find(Unit &unit, quint32 address)
{
    auto next = unit.blocks.upperBound(address);
    if (next == unit.blocks.begin())
        return {};
    --next;
    const quint32 offset = address - next.key();
    if (offset >= static_cast<quint32>(next->data.size()))
        return {};
    return {&*next, static_cast<int>(offset)};
}

/// Overwrites existing bytes.
void overwrite(QByteArray *target, int offset, const QByteArray &data)
{
    target->replace(offset, data.size(), data);
}

bool liesIn(const QByteArray &data, qint64 offset, qint64 length)
{
    return offset >= 0 && offset <= data.size() && length <= data.size() - offset;
}

void fill(const Place &place, const QByteArray &data)
{
    overwrite(&place.block->data, place.offset, data);
    const int end = place.offset + static_cast<int>(data.size());
    place.block->filled = place.offset == 0 ? end : qMax(place.block->filled, end);
}

/// Finds @p length bytes from a register on.
RequestOutcome locate(Unit &unit, quint32 address, qint64 length, Place *place)
{
    *place = find(unit, address);
    if (!place->block)
        return UnknownRegister;
    if (length < 0)
        return WrongLength;
    return place->offset + length > place->block->data.size() ? PastTheEnd : Done;
}

/// Finds @p length bytes of the block that begins at @p address, which file and memory requests use
/// as their buffer.
RequestOutcome locateBuffer(Unit &unit, quint32 address, int length, Place *place)
{
    const RequestOutcome outcome = locate(unit, address, length, place);
    return place->offset == 0 ? outcome : UnknownRegister;
}

} // namespace

qint64 sizeOfEntry(const QString &name)
{
    constexpr qint64 Entry = 64;
    return Entry + name.toUtf8().size();
}

qint64 usedSpace(const Unit &unit)
{
    qint64 used = 0;
    for (auto file = unit.files.begin(); file != unit.files.end(); ++file)
        used += sizeOfEntry(file.key()) + file->size();
    return used;
}

RequestOutcome probe(Unit &unit, quint32 address, int length)
{
    Place place;
    return locate(unit, address, length, &place);
}

RequestOutcome readBlock(Unit &unit, quint32 address, int length, QByteArray *data)
{
    Place place;
    const RequestOutcome outcome = locate(unit, address, length, &place);
    if (outcome.ackCode == 0)
        *data = place.block->data.mid(place.offset, length);
    return outcome;
}

RequestOutcome writeBlock(Unit &unit, quint32 address, const QByteArray &data)
{
    Place place;
    const RequestOutcome outcome = locate(unit, address, data.size(), &place);
    if (outcome.ackCode == 0)
        fill(place, data);
    return outcome;
}

RequestOutcome readFile(Unit &unit, quint32 address, const QString &name, int length)
{
    Place buffer;
    const RequestOutcome outcome = locateBuffer(unit, address, length, &buffer);
    if (outcome.ackCode != 0)
        return outcome;
    const auto file = unit.files.constFind(name);
    if (file == unit.files.constEnd())
        return FileMissing;
    if (length > file->size())
        return FileTooShort;
    fill(buffer, file->left(length));
    return Done;
}

RequestOutcome writeFile(Unit &unit, quint32 address, const QString &name, int offset,
                         SpaceCache *used)
{
    Place buffer;
    const RequestOutcome outcome = locateBuffer(unit, address, 0, &buffer);
    if (outcome.ackCode != 0)
        return outcome;
    if (name.isEmpty())
        return FileNameEmpty;
    const auto existing = unit.files.constFind(name);
    const bool exists = existing != unit.files.constEnd();
    const qint64 size = exists ? qint64(existing->size()) : 0;
    if (offset < 0 || offset > size)
        return FileGap;
    const QByteArray part = buffer.block->data.left(buffer.block->filled);
    const qint64 change = (exists ? 0 : sizeOfEntry(name)) + offset + part.size() - size;
    SpaceCache computed;
    SpaceCache &spaces = used ? *used : computed;
    if (spaces.find(&unit) == spaces.end())
        spaces[&unit] = usedSpace(unit);
    qint64 &space = spaces[&unit];
    if (space + change > qMin(unit.fileSpace, MaxContents))
        return NoSpace;
    QByteArray &file = unit.files[name];
    file.truncate(offset);
    file.append(part);
    space += change;
    return Done;
}

RequestOutcome readMemory(Unit &unit, quint32 address, qint64 offset, int length)
{
    Place buffer;
    const RequestOutcome outcome = locateBuffer(unit, address, length, &buffer);
    if (outcome.ackCode != 0)
        return outcome;
    if (!liesIn(unit.memory, offset, length))
        return PastTheEnd;
    fill(buffer, unit.memory.mid(static_cast<int>(offset), length));
    return Done;
}

RequestOutcome writeMemory(Unit &unit, quint32 address, qint64 offset, int length)
{
    Place buffer;
    const RequestOutcome outcome = locateBuffer(unit, address, length, &buffer);
    if (outcome.ackCode != 0)
        return outcome;
    const Block &block = *buffer.block;
    const QByteArray data = block.data.left(length > 0 ? length : block.filled);
    if (!liesIn(unit.memory, offset, data.size()))
        return PastTheEnd;
    overwrite(&unit.memory, static_cast<int>(offset), data);
    return Done;
}

} // namespace KorvinSimulator
