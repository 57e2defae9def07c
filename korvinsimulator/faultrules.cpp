#include "faultrules_p.h"

#include "randomnumbers_p.h"
#include "range_p.h"
#include "unitoperations_p.h"

#include <QtCore/QStringList>

using namespace KorvinInspect;

namespace KorvinSimulator {

namespace {

struct KindName
{
    const char *name;
    FaultKind kind;
    LinkFault link;
};

constexpr KindName KindNames[] = {
    {"none", FaultKind::None, LinkFault::None},
    {"lostRequest", FaultKind::DropRequest, LinkFault::None},
    {"lostReply", FaultKind::DropReply, LinkFault::None},
    {"delay", FaultKind::Delay, LinkFault::None},
    {"corrupt", FaultKind::Corrupt, LinkFault::None},
    {"truncate", FaultKind::Truncate, LinkFault::None},
    {"duplicate", FaultKind::Duplicate, LinkFault::None},
    {"staleSerial", FaultKind::StaleSerial, LinkFault::None},
    {"result", FaultKind::Result, LinkFault::None},
    {"silence", FaultKind::None, LinkFault::Silence},
    {"close", FaultKind::None, LinkFault::Close},
    {"restart", FaultKind::None, LinkFault::Restart},
    {"slices", FaultKind::None, LinkFault::None},
    {"any", FaultKind::None, LinkFault::None},
};

QString kindNames()
{
    QStringList names;
    for (const KindName &row : KindNames)
        names << QLatin1String(row.name);
    return names.join(QLatin1String(", "));
}

const KindName *kindNamed(const QString &name)
{
    for (const KindName &row : KindNames) {
        if (name == QLatin1String(row.name))
            return &row;
    }
    return nullptr;
}

void readPosition(ObjectReader &reader, const char *name, FaultRecipe *recipe)
{
    qint64 position = -1;
    reader.number(name, 0, MaxAddress, &position);
    if (position >= 0)
        recipe->position = static_cast<quint32>(position);
}

void readSlices(ObjectReader &reader, FaultRecipe *recipe)
{
    constexpr int LongestPause = 10000;
    reader.require("bytes");
    reader.number("bytes", 1, MaxInt, &recipe->sliceSize);
    reader.number("pause", 0, LongestPause, &recipe->slicePause);
}

/// Reads the kind of a fault and its details.
void readRecipe(ObjectReader &reader, FaultRecipe *recipe)
{
    QString name;
    reader.require("kind");
    reader.read("kind", QLatin1String("one of ") + kindNames(), &name, [](const QJsonValue &json) {
        return kindNamed(json.toString()) ? std::optional(json.toString()) : std::nullopt;
    });
    const KindName *kind = kindNamed(name);
    if (!kind)
        return;
    recipe->fault.kind = kind->kind;
    recipe->link = kind->link;
    recipe->isAny = name == QLatin1String("any");
    if (kind->kind == FaultKind::Delay) {
        reader.require("delay");
        readDelay(reader, "delay", &recipe->delay);
    } else if (kind->kind == FaultKind::Corrupt) {
        readPosition(reader, "bit", recipe);
    } else if (kind->kind == FaultKind::Truncate) {
        readPosition(reader, "keep", recipe);
    } else if (kind->kind == FaultKind::Result) {
        readOutcomeMembers(reader, &recipe->fault.outcome);
    } else if (name == QLatin1String("slices")) {
        readSlices(reader, recipe);
    }
}

QString readScriptItem(const QJsonValue &json, FaultRule *rule)
{
    FaultRecipe recipe;
    // A word stands for an object with this kind.
    ObjectReader reader(json.isString() ? QJsonValue(QJsonObject{{QStringLiteral("kind"), json}})
                                        : json);
    readRecipe(reader, &recipe);
    rule->recipes.push_back(recipe);
    return reader.end();
}

/// Reads a member that narrows down which requests a rule is about.
template <typename Value, typename Parse>
void readOptional(ObjectReader &reader, const char *name, const QString &type,
                  std::optional<Value> *value, Parse parse)
{
    if (reader.member(name).isUndefined())
        return;
    Value read = {};
    reader.read(name, type, &read, parse);
    *value = read;
}

std::optional<ClassId> classNamed(const QJsonValue &json)
{
    const QString name = json.toString();
    const PackageClass *named = packageClass(name);
    if (named)
        return named->id;
    return name == className(ClassId::PackageRequestCombination)
        ? std::optional(ClassId::PackageRequestCombination)
        : std::nullopt;
}

std::optional<bool> isWriteWord(const QJsonValue &json)
{
    const bool isWrite = json.toString() == QLatin1String("write");
    return isWrite || json.toString() == QLatin1String("read") ? std::optional(isWrite)
                                                               : std::nullopt;
}

void readWhich(ObjectReader &reader, const std::map<QString, UnitAddress> &units, FaultRule *rule)
{
    readOptional(reader, "class", QStringLiteral("the name of a class"), &rule->classId,
                 classNamed);
    readOptional(reader, "access", QStringLiteral("read or write"), &rule->isWrite, isWriteWord);
    readOptional(reader, "unit", QStringLiteral("the name of a unit"), &rule->unit,
                 [&](const QJsonValue &json) {
                     const auto unit = units.find(json.toString());
                     return unit == units.end() ? std::nullopt : std::optional(unit->second);
                 });
    qint64 first = -1;
    qint64 size = 1;
    reader.number("address", 0, MaxAddress, &first);
    reader.number("size", 1, MaxAddress + 1 - qMax(first, qint64(0)), &size);
    if (!reader.member("size").isUndefined())
        reader.require("address");
    if (first < 0)
        return;
    rule->firstAddress = static_cast<quint32>(first);
    rule->lastAddress = static_cast<quint32>(first + size - 1);
}

void readHowOften(ObjectReader &reader, FaultRule *rule)
{
    reader.number("after", 0, MaxInt, &rule->after);
    reader.number("every", 1, MaxInt, &rule->every);
    reader.number("count", 0, MaxInt, &rule->count);
    readReal(reader, "chance", 0, 1, &rule->chance);
    reader.number("seen", 0, std::numeric_limits<qint64>::max(), &rule->seen);
    reader.number("met", 0, std::numeric_limits<qint64>::max(), &rule->met);
}

QString readRule(const QJsonValue &json, const std::map<QString, UnitAddress> &units,
                 FaultRule *rule)
{
    ObjectReader reader(json);
    rule->source = json.toObject();
    rule->isScript = rule->source.contains(QLatin1String("script"));
    readWhich(reader, units, rule);
    readHowOften(reader, rule);
    if (rule->isScript) {
        reader.list("script", [&](const QJsonValue &item) { return readScriptItem(item, rule); });
        if (rule->recipes.empty())
            reader.fail(QStringLiteral("script"), QStringLiteral("empty"));
        return reader.end();
    }
    rule->recipes.emplace_back();
    readRecipe(reader, &rule->recipes.back());
    return reader.end();
}

/// Fills in what a recipe leaves to chance.
PlannedFault planned(const FaultRecipe &recipe, quint64 seed, quint64 stream, quint64 index)
{
    PlannedFault plan{recipe.fault, recipe.link, recipe.sliceSize, recipe.slicePause};
    const quint64 drawn = randomNumber(seed, stream, index);
    plan.fault.delay = recipe.delay.draw(seed, stream, index);
    plan.fault.position = recipe.position.value_or(static_cast<quint32>(drawn));
    if (recipe.isAny) {
        constexpr int KindBits = 32;
        constexpr int LongestRandomDelay = 100;
        const std::vector<FaultKind> kinds = FaultPlan::all();
        plan.fault.kind = kinds.at((drawn >> KindBits) % kinds.size());
        plan.fault.delay = static_cast<int>(drawn % LongestRandomDelay) + 1;
        plan.fault.outcome = AnyFailure;
    }
    return plan;
}

} // namespace

bool FaultRule::isAbout(const RequestFacts &facts) const
{
    return classId.value_or(facts.classId) == facts.classId
        && isWrite.value_or(facts.isWrite) == facts.isWrite && facts.address >= firstAddress
        && facts.address <= lastAddress && !(unit && (*unit < facts.unit || facts.unit < *unit));
}

QString FaultRules::read(const QJsonArray &json, const std::map<QString, UnitAddress> &units)
{
    std::vector<FaultRule> rules;
    for (const QJsonValue item : json) {
        rules.emplace_back();
        const QString fault = readRule(item, units, &rules.back());
        if (!fault.isEmpty())
            return inMember(QString::number(rules.size()), fault);
    }
    m_rules = std::move(rules);
    return {};
}

QJsonArray FaultRules::toJson() const
{
    QJsonArray json;
    for (const FaultRule &rule : m_rules) {
        QJsonObject saved = rule.source;
        saved.insert(QStringLiteral("seen"), rule.seen);
        saved.insert(QStringLiteral("met"), rule.met);
        json.append(saved);
    }
    return json;
}

PlannedFault FaultRules::next(const RequestFacts &facts, quint64 seed)
{
    constexpr quint64 FirstStream = quint64(1) << 32; // those before are of ranges
    PlannedFault plan;
    quint64 stream = FirstStream;
    for (FaultRule &rule : m_rules) {
        stream += 2; // one for whether there is a fault, one for which
        if (!rule.isAbout(facts))
            continue;
        const auto index = static_cast<quint64>(rule.seen);
        const std::optional<FaultRecipe> recipe = recipeOf(rule, seed, stream);
        if (!recipe)
            continue;
        plan = planned(*recipe, seed, stream + 1, index);
        if (!plan.isNone()) {
            ++rule.met;
            return plan;
        }
    }
    return plan;
}

/// Counts a request that a rule is about, and returns its fault.
std::optional<FaultRecipe> FaultRules::recipeOf(FaultRule &rule, quint64 seed, quint64 stream)
{
    const qint64 number = rule.seen++ - rule.after;
    if (number < 0 || number % rule.every != 0 || (rule.count >= 0 && rule.met >= rule.count))
        return {};
    if (rule.chance < 1
        && randomShare(seed, stream, static_cast<quint64>(rule.seen)) >= rule.chance)
        return {};
    const auto step = static_cast<std::size_t>(rule.isScript ? number / rule.every : 0);
    return step < rule.recipes.size() ? std::optional(rule.recipes[step]) : std::nullopt;
}

} // namespace KorvinSimulator
