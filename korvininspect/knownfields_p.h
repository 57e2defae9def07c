#ifndef KNOWNFIELDS_P_H
#define KNOWNFIELDS_P_H

#include "layouts_p.h"

#include <QtCore/QVarLengthArray>

#include <bitset>

namespace KorvinInspect {

/// How a field of a reply refers to that of its request.
enum class Role {
    Identity, // it must be the same
    Length,   // it must not be larger
    Setting   // it may differ
};

/// The values of a message so far, and those of the request that it should answer. @p View refers
/// to the bytes of a text or block.
template <typename View>
class KnownFields
{
public:
    Korvin::LayoutFields values;

    /// Takes the message so far for the request, and begins its reply.
    void beginReply()
    {
        m_asked = m_known;
        m_askedExtents = static_cast<int>(m_extents.size());
    }

    /// Stores the value of a field of `values`.
    ///
    /// @return false if it differs from an earlier copy, or from the request.
    template <typename T>
    bool take(T &field, T value, Role role)
    {
        const std::size_t index = indexOf(&field);
        const bool isKnown = m_known[index];
        if (isKnown && !fits(index, field, value, role))
            return false;
        m_known[index] = true;
        field = value;
        return true;
    }

    /// Does the same for a text or block.
    bool takeExtent(const void *field, View value, Role role)
    {
        for (int i = role == Role::Identity ? 0 : m_askedExtents; i < m_extents.size(); ++i) {
            if (m_extents.at(i).field == field)
                return m_extents.at(i).value == value;
        }
        m_extents.append({field, value});
        return true;
    }

private:
    struct Extent
    {
        const void *field;
        View value;
    };

    template <typename T>
    bool fits(std::size_t index, T field, T value, Role role)
    {
        const bool isOfRequest = m_asked[index];
        m_asked[index] = false;
        if (isOfRequest && role == Role::Setting)
            return true;
        return isOfRequest && role == Role::Length ? value <= field : value == field;
    }

    std::size_t indexOf(const void *field) const
    {
        const void *const first = &values;
        return static_cast<std::size_t>(static_cast<const char *>(field)
                                        - static_cast<const char *>(first));
    }

    using Set = std::bitset<sizeof(Korvin::LayoutFields)>; // by the positions of the fields
    Set m_known;
    Set m_asked; ///< Those of the request that the reply has not repeated yet.
    QVarLengthArray<Extent, 4> m_extents; // as many as a request and its reply have
    int m_askedExtents = 0;
};

} // namespace KorvinInspect

#endif
