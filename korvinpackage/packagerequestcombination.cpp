#include "include/packagerequestcombination.h"

#include "include/packagerequestreaddata.h"
#include "include/packagerequestreadfile.h"
#include "include/packagerequestwritedata.h"
#include "include/packagerequestwritefile.h"
#include "layouts_p.h"
#include "memory_p.h"
#include "textparts_p.h"

#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QMessageLogger>

#include <memory>

using namespace Korvin;

namespace {

constexpr char CombinationLogFile[] = "packagerequestcombination";

/// A class that a combination can carry.
struct CarriedClass
{
    QStringView typeWord;
    std::unique_ptr<PackageBase> (*create)();
};

template <typename Request>
std::unique_ptr<PackageBase> create()
{
    return std::make_unique<Request>();
}

constexpr CarriedClass CarriedClasses[] = {
    {rowOf("PackageRequestReadData").typeWord, create<PackageRequestReadData>},
    {rowOf("PackageRequestReadFile").typeWord, create<PackageRequestReadFile>},
    {rowOf("PackageRequestWriteData").typeWord, create<PackageRequestWriteData>},
    {rowOf("PackageRequestWriteFile").typeWord, create<PackageRequestWriteFile>},
};

/// Type words that are refused with a message of their own.
constexpr QStringView RefusedTypeWords[] = {u"writeMemData", u"ReadMemData"};

/// Returns a new request of a type; null for a type that no combination carries.
std::unique_ptr<PackageBase> createRequest(QStringView typeWord)
{
    for (const CarriedClass &candidate : CarriedClasses) {
        if (typeWord == candidate.typeWord)
            return candidate.create();
    }
    return nullptr;
}

const char *refusalOf(QStringView typeWord)
{
    for (const QStringView word : RefusedTypeWords) {
        if (typeWord == word)
            return "ReadMemData is not support !!!";
    }
    return "Error package type of CMBPackages.";
}

OrvexEnum::ClientPackageType kindOfWrite(const PackageBase *package)
{
    const OrvexEnum::ClientPackageType kind = package->getClientPackageType();
    const auto *write = qobject_cast<const PackageRequestWrite *>(package);
    return kind == OrvexEnum::DataPackage && write ? write->getClientPackageType() : kind;
}

/// Returns why a file cannot be written, or null.
const char *fileWriteFault(const PackageBase *package)
{
    try {
        const auto *write = qobject_cast<const PackageRequestWriteFile *>(package);
        if (!write || write->fileNameWithPath().isEmpty())
            return " write file path is empty .";
        if (!QFile::exists(write->fileNameWithPath()))
            return " file is not exist .";
        if (QFileInfo(write->fileNameWithPath()).size() == 0)
            return " fileInfo is empty .";
        return nullptr;
    } catch (...) {
        return "convert to PackageRequestWriteFile* failed .";
    }
}

/// Returns why a write cannot be carried out, or null.
const char *writeFault(const PackageBase *package)
{
    switch (kindOfWrite(package)) {
    case OrvexEnum::DataPackage:
        return package->getDataLength() < 0 ? " write data length is less than 0 ." : nullptr;
    case OrvexEnum::FilePackage:
        return fileWriteFault(package);
    default:
        return nullptr;
    }
}

} // namespace

PackageRequestCombination::PackageRequestCombination() = default;

PackageRequestCombination::PackageRequestCombination(int timeout, const QString &deviceKey)
    : m_deviceKey(deviceKey)
    , m_timeout(timeout)
{
    setSerialNum(PackageBase::makeSerialNum());
}

PackageRequestCombination::PackageRequestCombination(const PackageRequestCombination &other)
    : QObject()
    , m_packageList(other.m_packageList)
    , m_deviceKey(other.m_deviceKey)
    , m_timeout(other.m_timeout)
    , m_serialNum(other.m_serialNum)
{
}

PackageRequestCombination &
PackageRequestCombination::operator=(const PackageRequestCombination &other)
{
    std::list<PackageBase *> packageList = other.m_packageList; // may throw, so comes first
    m_packageList.swap(packageList);
    m_timeout = other.m_timeout;
    m_deviceKey = other.m_deviceKey;
    m_serialNum = other.m_serialNum;
    return *this;
}

PackageRequestCombination::~PackageRequestCombination() = default;

std::list<PackageBase *> PackageRequestCombination::packageList()
{
    return m_packageList;
}

QString PackageRequestCombination::getDeviceKey() const
{
    return m_deviceKey;
}

quint64 PackageRequestCombination::getSerialNum() const
{
    return m_serialNum;
}

void PackageRequestCombination::setSerialNum(quint64 serialNum)
{
    m_serialNum = serialNum;
}

int PackageRequestCombination::getTimeout() const
{
    return m_timeout;
}

bool PackageRequestCombination::unCombinationPackageRequest(const QString &text)
{
    const char *const function = Q_FUNC_INFO;
    m_packageList.clear();
    return guarded([&] {
        TextParts items(text, '|');
        while (!items.atEnd()) {
            TextParts props(items.next(), '^');
            const QStringView propsType = props.next();
            if (props.atEnd())
                break;
            const QStringView record = props.next();
            if (!props.atEnd())
                break;
            std::unique_ptr<PackageBase> package = createRequest(propsType);
            if (!package) {
                QMessageLogger(CombinationLogFile, __LINE__, function)
                    .warning("%s", refusalOf(propsType));
                return false;
            }
            package->unPackageRequest(record.toString());
            m_packageList.push_back(nullptr);
            m_packageList.back() = package.release();
        }
        return true;
    });
}

bool PackageRequestCombination::makeCombinationPackageRequest()
{
    const char *const function = Q_FUNC_INFO;
    return guarded([&] {
        if (m_packageList.empty()) {
            QMessageLogger(CombinationLogFile, __LINE__, function)
                .warning("CMBPACKAGES size is 0.");
            return false;
        }
        for (const PackageBase *package : m_packageList) {
            const OrvexEnum::ReadWriteCode code = package->getReadWriteCode();
            if (code == OrvexEnum::Read && package->getDataLength() < 1)
                return false;
            const char *fault = code == OrvexEnum::Write ? writeFault(package) : nullptr;
            if (fault) {
                QMessageLogger(CombinationLogFile, __LINE__, function).warning("%s", fault);
                return false;
            }
        }
        return true;
    });
}
