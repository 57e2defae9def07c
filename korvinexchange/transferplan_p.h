#ifndef KORVINEXCHANGE_TRANSFERPLAN_P_H
#define KORVINEXCHANGE_TRANSFERPLAN_P_H

#include "include/korvinexchange/transfer.h"

#include <memory>

namespace KorvinExchange {

/// One request of a transfer.
struct TransferStep
{
    std::unique_ptr<PackageBase> package;
    qint64 offset = 0;  ///< Of its part.
    int finishes = 0;   ///< Bytes of the part that are done with it; 0 where more is to do.
    bool reads = false; ///< Its reply brings them.
};

/// The requests that a transfer consists of, in order.
class TransferPlan
{
public:
    /// @param emptiesBuffer says whether a data write of no bytes can be sent.
    TransferPlan(const Transfer &transfer, bool emptiesBuffer);

    /// Whether there is such a transfer: no negative length, parts of at least a byte, and neither
    /// registers nor offsets that run past the last one.
    bool isValid() const;

    /// All bytes.
    qint64 total() const { return m_total; }

    /// How many parts the package has.
    int partCount() const;

    /// The part that begins at an offset, or where the offset is the end, the number of parts.
    int partAt(qint64 offset) const;

    int stepCount() const;

    /// Whether a step waits for all before it.
    bool waits(int step) const;

    /// Makes a request. The package must be there. Throws std::bad_alloc.
    TransferStep makeStep(int step) const;

private:
    struct Part
    {
        qint64 offset;
        int size;
    };

    Part partOf(int index) const;
    std::unique_ptr<PackageBase> makeWrite(const Part &part) const;
    std::unique_ptr<PackageBase> makeRead(const Part &part) const;
    std::unique_ptr<PackageBase> makeControl(const Part &part) const;
    void setRegister(PackageBase *package, qint64 offset) const;

    Transfer m_transfer;
    bool m_emptiesBuffer;
    qint64 m_total;
    int m_partSize;
    bool m_advances;      ///< The register does, with each byte.
    quint32 m_register;   ///< Where the first part goes.
    qint64 m_firstOffset; ///< In the file or memory.
};

} // namespace KorvinExchange

#endif
