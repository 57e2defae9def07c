// C++ source of packages: its text, and the packages that it builds when compiled.

#include "cppsource.h"
#include "cppsourcecases.h"
#include "testsupport.h"

#include <packagerequestwritedata.h>
#include <packagerequestwritefile.h>
#include <specialpackagerequest.h>

#include <algorithm>

namespace {

TEST(CppSource, DataWrite)
{
    PackageRequestWriteData package(QStringLiteral("usb/0,1"), 0, 255, 1, 2, 65535, 2560, 16, 0,
                                    3000, QStringLiteral("t1"), true, hex("01 FF 10"), 3);
    package.setSerialNum(7);
    EXPECT_EQ(cppSource(package), QString::fromLatin1(R"(#include <packagerequestwritedata.h>

PackageRequestWriteData package(QString::fromUtf8("usb/0,1", 7), 0, 255, 1, 2, 65535, 2560, 16, 0,
                                3000, QString::fromUtf8("t1", 2), OrvexEnum::CommOk, true,
                                QByteArray(), 0);
package.setSerialNum(7ULL);
package.setPackageDataLength(3);
package.setData(QByteArray::fromHex("01ff10"));
)"));
}

TEST(CppSource, WhatIsNotPrintableIsEscaped)
{
    SpecialPackageRequest package;
    package.setStrData(QStringLiteral("\x1F ~\x7F\u0080"));
    const QString source = cppSource(package);
    // 0x20 and 0x7E are the first and the last printable characters.
    EXPECT_TRUE(source.contains(QStringLiteral("QString::fromUtf8(\"\\037 ~\\177\\302\\200\", 6)")))
        << source.toStdString();
}

TEST(CppSource, SettersStoreWhatConstructorsCannot)
{
    PackageRequestWriteFile package(QString(), 1, 2, 3, 4, 5, 6, 7, 0x30, 9, QString(), false,
                                    QStringLiteral("a\"b"), -10);
    package.setSerialNum(0);
    package.setScrAddr('\xFF');
    package.setDeviceType(256);
    package.setClientPackageType(OrvexEnum::MemDataPackage);
    EXPECT_EQ(cppSource(package), QString::fromLatin1(R"(#include <packagerequestwritefile.h>

PackageRequestWriteFile package(QString(), 255, 2, 0, 4, 5, 6, 7, 48, 9, QString(),
                                OrvexEnum::CommOk, false, QString::fromUtf8("a\"b", 3), -10);
package.setSerialNum(0ULL);
package.setDeviceType(256);
package.setClientPackageType(OrvexEnum::MemDataPackage);
)"));
}

TEST(CppSource, OwnKindOfAWriteIsAssigned)
{
    PackageRequestWriteData package(QStringLiteral("key"), 1, 2, 3, 4, 5, 6, 7, 8, 9,
                                    QStringLiteral("tag"), false, QByteArray(), 0);
    package.setSerialNum(2);
    const QJsonObject kind{{QStringLiteral("clientPackageType"), QStringLiteral("file")}};
    ASSERT_EQ(packageFromJson(kind, package), QString());
    EXPECT_EQ(cppSource(package), QString::fromLatin1(R"(#include <packagerequestwritedata.h>

PackageRequestWriteData package(QString::fromUtf8("key", 3), 1, 2, 3, 4, 5, 6, 7, 8, 9,
                                QString::fromUtf8("tag", 3), OrvexEnum::CommOk, false,
                                QByteArray(), 0);
package.PackageRequestWrite::operator=(
    PackageRequestWrite(QString::fromUtf8("key", 3), 1, 2, 3, 4, 5, 6, 7, 8, 9,
                        QString::fromUtf8("tag", 3), OrvexEnum::CommOk, false,
                        OrvexEnum::FilePackage));
package.setSerialNum(2ULL);
)"));
}

TEST(CppSource, SpecialRequest)
{
    SpecialPackageRequest package(12, 5);
    package.setSerialNum(300);
    EXPECT_EQ(cppSource(package), QString::fromLatin1(R"(#include <specialpackagerequest.h>

SpecialPackageRequest package;
package.setSerialNum(300ULL);
package.setTimeout(0);
package.setId(12);
package.setSpecialFlagEndTimeOut(5);
)"));
}

TEST(CppSource, BuildsTheSamePackages)
{
    const std::vector<std::unique_ptr<PackageBase>> packages = cppSourceCases();
    const std::vector<QJsonObject> built = builtFromCppSource();
    ASSERT_EQ(built.size(), packages.size());
    for (std::size_t i = 0; i < packages.size(); ++i) {
        SCOPED_TRACE(cppSource(*packages[i]).toStdString());
        EXPECT_EQ(built[i], snapshot(*packages[i]));
    }
}

TEST(CppSource, EveryClassIsBuilt)
{
    const std::vector<std::unique_ptr<PackageBase>> packages = cppSourceCases();
    for (const PackageClass &itsClass : packageClasses()) {
        const auto cases =
            std::count_if(packages.begin(), packages.end(),
                          [&](const auto &package) { return &classOf(*package) == &itsClass; });
        EXPECT_GT(cases, 50) << itsClass.name.toStdString();
    }
}

} // namespace
