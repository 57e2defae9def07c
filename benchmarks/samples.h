#ifndef SAMPLES_H
#define SAMPLES_H

#include <packagerequestreaddata.h>
#include <packagerequestreadfile.h>
#include <packagerequestreadmemdata.h>
#include <packagerequestwritedata.h>
#include <packagerequestwritefile.h>
#include <packagerequestwriteip.h>
#include <packagerequestwritememdata.h>
#include <specialpackagerequest.h>

#include <QtCore/QByteArray>
#include <QtCore/QString>

#include <random>
#include <type_traits>
#include <vector>

/// The values that the library and its peers encode.
struct Sample
{
    QString deviceKey = QStringLiteral("COM3:9600");            // 9 characters
    QString tag = QStringLiteral("wall-2/cabinet-14/board-03"); // 26
    QByteArray block;

    static constexpr uchar ScrAddr = 1;
    static constexpr uchar DesAddr = 254;
    static constexpr uchar DeviceType = 3;
    static constexpr uchar PortAddr = 4;
    static constexpr ushort ScanBoardAddr = 517;
    static constexpr ushort HighAddr = 512;
    static constexpr ushort LowAddr = 1793;
    static constexpr uchar Reserved2 = 8;
    static constexpr int Timeout = 5000;
};

constexpr int LargeBlock = 2048;

/// Returns random bytes, the same in every run.
inline QByteArray randomBlock(int size, unsigned seed)
{
    std::mt19937 engine(seed);
    QByteArray block(size, Qt::Uninitialized);
    for (char &byte : block)
        byte = static_cast<char>(engine());
    return block;
}

/// Returns so many blocks that a branch predictor does not learn them.
inline std::vector<QByteArray> rotatingBlocks(int size)
{
    std::vector<QByteArray> blocks;
    for (unsigned seed = 1; seed <= 64; ++seed)
        blocks.push_back(randomBlock(size, seed));
    return blocks;
}

/// Makes a package with the fields of @p sample, as a client makes it. @p more are the arguments
/// that the constructor of the class adds to those of every request.
template <typename Package, typename... More>
Package makeRequest(const Sample &sample, More &&...more)
{
    return Package(sample.deviceKey, Sample::ScrAddr, Sample::DesAddr, Sample::DeviceType,
                   Sample::PortAddr, Sample::ScanBoardAddr, Sample::HighAddr, Sample::LowAddr,
                   Sample::Reserved2, Sample::Timeout, sample.tag, std::forward<More>(more)...);
}

/// Calls @p visit with the name of each class and an operation that makes a package of it.
template <typename Visitor>
void forEachClass(Visitor visit)
{
    static constexpr OrvexEnum::CommResults Ok = OrvexEnum::CommOk;
    static constexpr OrvexEnum::ClientPackageType Data = OrvexEnum::DataPackage;
    static const QString fileName = QStringLiteral("config/wall-2.rcfgx");
    visit("PackageBase", [](const Sample &sample) {
        return makeRequest<PackageBase>(sample, Ok, Data, OrvexEnum::Read, true);
    });
    visit("PackageRequestRead", [](const Sample &sample) {
        return makeRequest<PackageRequestRead>(sample, Ok, 2048, Data);
    });
    visit("PackageRequestReadData", [](const Sample &sample) {
        return makeRequest<PackageRequestReadData>(sample, sample.block, sample.block.size());
    });
    visit("PackageRequestReadFile", [](const Sample &sample) {
        return makeRequest<PackageRequestReadFile>(sample, Ok, 2048, fileName);
    });
    visit("PackageRequestReadMemData", [](const Sample &sample) {
        return makeRequest<PackageRequestReadMemData>(sample, Ok, 2048, 4096L);
    });
    visit("PackageRequestWrite", [](const Sample &sample) {
        return makeRequest<PackageRequestWrite>(sample, Ok, false, Data);
    });
    visit("PackageRequestWriteData", [](const Sample &sample) {
        return makeRequest<PackageRequestWriteData>(sample, Ok, false, sample.block,
                                                    sample.block.size());
    });
    visit("PackageRequestWriteIP", [](const Sample &sample) {
        return makeRequest<PackageRequestWriteIP>(sample, Ok, false, sample.block,
                                                  sample.block.size());
    });
    visit("PackageRequestWriteFile", [](const Sample &sample) {
        return makeRequest<PackageRequestWriteFile>(sample, Ok, false, fileName, 4096);
    });
    visit("PackageRequestWriteMemData", [](const Sample &sample) {
        return makeRequest<PackageRequestWriteMemData>(sample, Ok, false, 4096L, 2048);
    });
    visit("SpecialPackageRequest", [](const Sample &sample) {
        return SpecialPackageRequest(7, Sample::Timeout, sample.deviceKey);
    });
}

/// Returns whether a class carries a block of data.
template <typename Package>
constexpr bool CarriesData =
    std::is_base_of_v<PackageRequestReadData,
                      Package> || std::is_base_of_v<PackageRequestWriteData, Package>;

#endif
