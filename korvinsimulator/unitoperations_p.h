#ifndef UNITOPERATIONS_P_H
#define UNITOPERATIONS_P_H

#include <korvinsimulator/devicestate.h>
#include <korvinsimulator/requestoutcome.h>

#include <limits>
#include <unordered_map>

/// @file
/// The effects of requests on one unit. An operation that fails changes nothing.

namespace KorvinSimulator {

// Decoders of Linux frames derive both results from the acknowledge code; the codes are chosen so
// that these make sense, too.
constexpr RequestOutcome Done{};
constexpr RequestOutcome FileMissing{1, OrvexEnum::CommOk, OrvexEnum::PackFileNoExist};
constexpr RequestOutcome FileTooShort{1, OrvexEnum::CommOk, OrvexEnum::PackFileReadFailure};
constexpr RequestOutcome FileNameEmpty{1, OrvexEnum::CommOk, OrvexEnum::PackFileCreatFailure};
constexpr RequestOutcome FileGap{1, OrvexEnum::CommOk, OrvexEnum::PackFileWriteFailure};
constexpr RequestOutcome NoSpace{2, OrvexEnum::CommOk, OrvexEnum::PackDeviceSpaceNoEnough};
constexpr RequestOutcome PastTheEnd{2, OrvexEnum::CommOk, OrvexEnum::PackMemErr};
constexpr RequestOutcome WrongLength{2, OrvexEnum::CommLengthErr, OrvexEnum::PackMemErr};
constexpr RequestOutcome UnknownUnit{3, OrvexEnum::CommOk, OrvexEnum::PackInvalidPort};
constexpr RequestOutcome UnknownRegister{5, OrvexEnum::CommOk, OrvexEnum::PackParsePackAddrFailure};
constexpr RequestOutcome OtherAccess{5, OrvexEnum::CommCodeErr, OrvexEnum::PackFailure};
constexpr RequestOutcome UnknownSpecial{5, OrvexEnum::CommOk, OrvexEnum::PackFailure};

constexpr RequestOutcome AnyFailure{6, OrvexEnum::CommOk, OrvexEnum::PackFailure};

constexpr qint64 MaxInt = std::numeric_limits<int>::max();
constexpr qint64 MaxAddress = std::numeric_limits<quint32>::max();

/// Largest size of a block, file or memory, in bytes.
constexpr qint64 MaxContents = 16777216;

/// Space that the name and the entry of a file take, beside its contents.
qint64 sizeOfEntry(const QString &name);

/// Space that all files of a unit take.
qint64 usedSpace(const Unit &unit);

/// The used space of units, so that a write need not sum up all files. It holds as long as nothing
/// else changes their files.
using SpaceCache = std::unordered_map<const Unit *, qint64>;

/// Checks that there is a register at @p address, with @p length bytes from there on.
RequestOutcome probe(Unit &unit, quint32 address, int length);

RequestOutcome readBlock(Unit &unit, quint32 address, int length, QByteArray *data);
RequestOutcome writeBlock(Unit &unit, quint32 address, const QByteArray &data);

// File and memory requests carry no bytes: they use the block that begins at their register address
// as a buffer, which data requests fill and read.

/// Copies the first @p length bytes of a file to the block.
RequestOutcome readFile(Unit &unit, quint32 address, const QString &name, int length);

/// Cuts a file at @p offset and appends the filled bytes of the block.
///
/// @param used may be null.
RequestOutcome writeFile(Unit &unit, quint32 address, const QString &name, int offset,
                         SpaceCache *used);

/// Copies @p length bytes of memory to the block.
RequestOutcome readMemory(Unit &unit, quint32 address, qint64 offset, int length);

/// Copies @p length bytes of the block to memory, or its filled bytes if @p length is 0.
RequestOutcome writeMemory(Unit &unit, quint32 address, qint64 offset, int length);

} // namespace KorvinSimulator

#endif
