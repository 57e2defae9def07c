// The other inputs of korvininspect: frames and records of an unknown shape, JSON and hexadecimal
// digits.

#include "fuzztarget.h"
#include "secondreading.h"

#include <commpackagebase.h>
#include <korvininspect/hexbytes.h>
#include <korvininspect/inputtext.h>
#include <korvininspect/packageexplain.h>
#include <korvininspect/packageguess.h>
#include <packagerequestcombination.h>

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>

#include <algorithm>

using namespace KorvinInspect;

namespace {

/// Expects that guesses come with the accepted ones first, and explains the first.
void guessAll(const QByteArray &input)
{
    const QVector<Guess> guesses = guess(input);
    EXPECT_FALSE(guesses.isEmpty());
    bool accepted = true;
    for (const Guess &guessed : guesses) {
        EXPECT_TRUE(exists(guessed.shape));
        EXPECT_TRUE(accepted || !guessed.verdict.isOk());
        accepted = guessed.verdict.isOk();
        observe(guessed.reason.toUtf8());
    }
    for (const Guess &guessed : {guesses.front(), guesses.back()})
        EXPECT_EQ(describe(check(input, guessed.shape)), describe(guessed.verdict));
    const std::optional<Guess> best = bestGuess(input);
    EXPECT_TRUE(best);
    EXPECT_EQ(describe(best->shape), describe(guesses.front().shape));
    EXPECT_EQ(best->reason, guesses.front().reason);
    const QVector<ExplainedField> fields = explain(input, guesses.front().shape);
    const QJsonArray json = explanationToJson(fields);
    EXPECT_EQ(json.size(), fields.size());
    EXPECT_EQ(explanationToJsonText(fields), QJsonDocument(json).toJson(QJsonDocument::Compact));
    for (const ExplainedField &field : fields) {
        const QString shown = printable(valueForPeople(field));
        EXPECT_LE(shown.size(), 6 * 200 + 3);
        observe(shown.toUtf8());
    }
}

/// Expects that a package read from JSON comes back through JSON.
void readPackage(const PackageClass &itsClass, const QJsonObject &json)
{
    const std::unique_ptr<PackageBase> package = filledPackage(itsClass);
    const QString fault = packageFromJson(json, *package);
    observe(fault.toUtf8());
    const QJsonObject written = packageToJson(*package);
    const std::unique_ptr<PackageBase> again = itsClass.create();
    EXPECT_EQ(packageFromJson(written, *again), QString());
    EXPECT_EQ(packageToJson(*again), written);
    observe(*package);
    expectWritten(*package);
}

void readCombination(const QJsonObject &json)
{
    PackageRequestCombination combination;
    const QString fault = combinationFromJson(json, combination);
    const QJsonObject written = combinationToJson(combination);
    const QJsonArray packages = written.value(QStringLiteral("packages")).toArray();
    EXPECT_EQ(packages.size(), static_cast<int>(combination.packageList().size()));
    EXPECT_TRUE(fault.isEmpty() || packages.isEmpty());
    for (PackageBase *package : combination.packageList()) {
        observe(*package);
        PackageBase::clear(package);
    }
}

void readSlice(const QJsonObject &json)
{
    CommPackageBase slice;
    observe(frameSliceFromJson(json, slice).toUtf8());
    const QJsonObject written = frameSliceToJson(slice);
    CommPackageBase again;
    EXPECT_EQ(frameSliceFromJson(written, again), QString());
    EXPECT_EQ(frameSliceToJson(again), written);
    observe(slice.getFrameSlice());
}

void readHex(const QString &digits)
{
    QByteArray bytes;
    const QString fault = bytesFromHex(digits, &bytes);
    observe(fault.toUtf8());
    if (!fault.isEmpty())
        return;
    QByteArray again;
    EXPECT_EQ(bytesFromHex(hexFromBytes(bytes), &again), QString());
    EXPECT_EQ(again, bytes);
    EXPECT_LE(2 * bytes.size(), digits.size());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const quint8 *bytes, std::size_t size)
{
    FuzzInput input(bytes, size);
    const quint8 kind = input.byte() % 8;
    if (kind == 0) {
        readHex(textFromUtf8(input.rest()));
    } else if (kind == 1) {
        readSlice(QJsonDocument::fromJson(input.rest()).object());
    } else if (kind == 2) {
        readCombination(QJsonDocument::fromJson(input.rest()).object());
    } else if (kind == 3) {
        const PackageClass *const itsClass = input.packageClass();
        if (!itsClass)
            return -1;
        readPackage(*itsClass, QJsonDocument::fromJson(input.rest()).object());
    } else {
        guessAll(input.rest());
    }
    return 0;
}
