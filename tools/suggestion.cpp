#include "suggestion.h"

#include <algorithm>
#include <numeric>
#include <vector>

namespace {

/// A longer word is not like any name.
constexpr int LongestWord = 64;

/// Counts the letters to insert, remove, replace or swap with their neighbour to get from one word
/// to the other.
int distance(const QString &from, const QString &to)
{
    std::vector<int> beforeLast;
    std::vector<int> last;
    std::vector<int> row(static_cast<std::size_t>(to.size()) + 1);
    std::iota(row.begin(), row.end(), 0);
    for (int i = 1; i <= from.size(); ++i) {
        beforeLast = std::move(last);
        last = row;
        row[0] = i;
        for (int j = 1; j <= to.size(); ++j) {
            const auto at = static_cast<std::size_t>(j);
            const bool same = from.at(i - 1) == to.at(j - 1);
            row[at] = std::min({last[at] + 1, row[at - 1] + 1, last[at - 1] + (same ? 0 : 1)});
            const bool swapped =
                i > 1 && j > 1 && from.at(i - 1) == to.at(j - 2) && from.at(i - 2) == to.at(j - 1);
            if (swapped)
                row[at] = std::min(row[at], beforeLast[at - 2] + 1);
        }
    }
    return row.back();
}

/// Returns the only name that begins with the word; empty if none does, or several do.
QString onlyOneFor(const QString &word, const QStringList &names)
{
    constexpr int ShortestBeginning = 3;
    QStringList fitting;
    for (const QString &name : names) {
        if (word.size() >= ShortestBeginning && name.startsWith(word, Qt::CaseInsensitive))
            fitting << name;
    }
    return fitting.size() == 1 ? fitting.constFirst() : QString();
}

} // namespace

QString suggestion(const QString &word, const QStringList &names)
{
    if (word.isEmpty() || word.size() > LongestWord)
        return {};
    QString best = onlyOneFor(word, names);
    int least = std::max(1, static_cast<int>(word.size()) / 3) + 1;
    for (const QString &name : best.isEmpty() ? names : QStringList()) {
        const int changes = distance(word.toLower(), name.toLower());
        if (changes < least) {
            least = changes;
            best = name;
        }
    }
    return best.isEmpty() ? QString() : QStringLiteral("; did you mean %1?").arg(best);
}
