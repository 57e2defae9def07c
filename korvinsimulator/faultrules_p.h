#ifndef FAULTRULES_P_H
#define FAULTRULES_P_H

#include "delay_p.h"

#include <korvininspect/packageclass.h>
#include <korvinsimulator/configureddevice.h>
#include <korvinsimulator/devicestate.h>
#include <korvinsimulator/faultplan.h>

#include <map>
#include <vector>

namespace KorvinSimulator {

/// What rules ask of a request.
struct RequestFacts
{
    KorvinInspect::ClassId classId = KorvinInspect::ClassId::PackageBase;
    UnitAddress unit;
    quint32 address = 0;
    bool isWrite = false;
};

/// What goes wrong, as a rule has it: details may be left to chance.
struct FaultRecipe
{
    Fault fault; ///< With the outcome.
    LinkFault link = LinkFault::None;
    bool isAny = false; ///< One of the kinds of FaultPlan::all().
    Delay delay;
    std::optional<quint32> position; ///< By chance where there is none.
    int sliceSize = 0;               ///< 0 for a reply in one piece.
    int slicePause = 0;
};

/// What goes wrong with one request.
struct PlannedFault
{
    Fault fault;
    LinkFault link = LinkFault::None;
    int sliceSize = 0;
    int slicePause = 0;

    bool isNone() const
    {
        return fault.kind == FaultKind::None && link == LinkFault::None && sliceSize == 0;
    }
};

/// Which requests meet which faults.
struct FaultRule
{
    // Which requests.
    std::optional<KorvinInspect::ClassId> classId;
    std::optional<bool> isWrite;
    std::optional<UnitAddress> unit;
    quint32 firstAddress = 0;
    quint32 lastAddress = 0xFFFFFFFF;
    qint64 after = 0;  ///< The first ones meet none.
    qint64 every = 1;  ///< Then each one of so many does.
    qint64 count = -1; ///< As often at most; any number if negative.
    double chance = 1;

    std::vector<FaultRecipe> recipes; ///< One, or those of a script.
    bool isScript = false;

    qint64 seen = 0; ///< Requests that it is about.
    qint64 met = 0;  ///< Faults that it has made.
    QJsonObject source;

    bool isAbout(const RequestFacts &facts) const;
};

/// Rules in their order: the first one that has a fault for a request decides.
class FaultRules
{
public:
    /// Reads rules. Units may be named.
    ///
    /// @return what is wrong; empty on success.
    QString read(const QJsonArray &json, const std::map<QString, UnitAddress> &units);

    QJsonArray toJson() const;

    PlannedFault next(const RequestFacts &facts, quint64 seed);

private:
    static std::optional<FaultRecipe> recipeOf(FaultRule &rule, quint64 seed, quint64 stream);

    std::vector<FaultRule> m_rules;
};

} // namespace KorvinSimulator

#endif
