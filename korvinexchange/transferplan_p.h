#ifndef KORVINEXCHANGE_TRANSFERPLAN_P_H
#define KORVINEXCHANGE_TRANSFERPLAN_P_H

#include "include/korvinexchange/transfer.h"

#include <korvininspect/packagecheck.h>

#include <memory>

namespace KorvinExchange {

/// One request of a transfer.
struct TransferStep
{
    std::unique_ptr<PackageBase> package;
    qint64 offset = 0;  ///< Offset of its part.
    int finishes = 0;   ///< Bytes that are done when it succeeds; 0 if the part needs more steps.
    bool reads = false; ///< Whether its reply has these bytes.
};

/// The requests of a transfer, in order.
class TransferPlan
{
public:
    /// @param emptiesBuffer says whether a data write of no bytes can be sent.
    TransferPlan(const Transfer &transfer, bool emptiesBuffer);

    /// Checks that the transfer is possible: its length is not negative, parts have at least one
    /// byte, and neither registers nor offsets overflow. Throws std::bad_alloc.
    KorvinInspect::Verdict check() const;

    /// Returns the number of all bytes.
    qint64 total() const { return m_total; }

    /// Returns the number of parts.
    int partCount() const;

    /// Returns the index of the part that begins at an offset; the number of parts for the end.
    int partAt(qint64 offset) const;

    int stepCount() const;

    /// Returns whether a step must wait for all earlier ones.
    bool waits(int step) const;

    /// Makes a request. The package must exist. Throws std::bad_alloc.
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
    bool m_advances;      ///< Whether each byte advances the register address.
    quint32 m_register;   ///< Register address of the first part.
    qint64 m_firstOffset; ///< Offset in the file or memory where the transfer begins.
};

} // namespace KorvinExchange

#endif
