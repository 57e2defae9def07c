#ifndef FIELDCOPIES_P_H
#define FIELDCOPIES_P_H

#include "wirefield_p.h"

#include <QtCore/QVarLengthArray>

#include <cstring>

namespace KorvinInspect {

/// Finds fields that a message has twice.
class FieldCopies
{
public:
    /// What two copies of a field have alike.
    struct Copy
    {
        const void *source;
        WireType type;
        qint64 number;
        const char *bytes;
        qint64 width;

        bool isSameAs(const WireField &field) const
        {
            return number == field.number
                && (!bytes || std::memcmp(bytes, field.bytes, static_cast<size_t>(width)) == 0);
        }
    };

    /// Returns the first copy of a field; null for a field that comes for the first time.
    const Copy *firstOf(const WireField &field)
    {
        if (!field.source)
            return nullptr;
        for (const Copy &seen : m_seen) {
            if (seen.type == field.type && seen.source == field.source)
                return &seen;
        }
        m_seen.append({field.source, field.type, field.number, field.bytes, field.width});
        return nullptr;
    }

private:
    QVarLengthArray<Copy, 32> m_seen; // more than any frame or record has
};

} // namespace KorvinInspect

#endif
