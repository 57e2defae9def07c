#ifndef TESTSUPPORT_H
#define TESTSUPPORT_H

#include <korvininspect/packageclass.h>
#include <korvininspect/packagejson.h>
#include <packagebase.h>

#include <QtCore/QByteArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QString>

#include <gtest/gtest.h>

#include <ostream>
#include <vector>

using namespace KorvinInspect;

// How GoogleTest prints values in its messages.
inline void PrintTo(const QString &text, std::ostream *out)
{
    *out << '"' << text.toStdString() << '"';
}

inline void PrintTo(const QByteArray &bytes, std::ostream *out)
{
    *out << bytes.toHex(' ').toUpper().toStdString();
}

inline void PrintTo(const QJsonObject &json, std::ostream *out)
{
    *out << QJsonDocument(json).toJson().toStdString();
}

/// Bytes from hexadecimal digits, blanks allowed.
inline QByteArray hex(const char *digits)
{
    return QByteArray::fromHex(digits);
}

/// All fields of a package as they are now, to compare every one of them later.
inline QJsonObject snapshot(const PackageBase &package)
{
    return packageToJson(package);
}

/// The fields that a package has from PackageBase.
inline QJsonObject baseSnapshot(const PackageBase &package)
{
    QJsonObject json;
    for (const PackageField &field : packageClasses().front().fields)
        json.insert(field.name, field.get(package));
    return json;
}

/// Expects the arguments that the constructors of all requests begin with: "key", 1, 2, 3, 4, 5, 6,
/// 7, 0x30, 9, "tag", and what else they set.
template <typename Package>
void expectCommonArguments(const Package &package, OrvexEnum::CommResults commResult,
                           OrvexEnum::ReadWriteCode code, OrvexEnum::ClientPackageType kind)
{
    EXPECT_EQ(package.getDeviceKey(), QStringLiteral("key"));
    EXPECT_EQ(package.getScrAddr(), 1);
    EXPECT_EQ(package.getDesAddr(), 2);
    EXPECT_EQ(package.getDeviceType(), 3);
    EXPECT_EQ(package.getPortAddr(), 4);
    EXPECT_EQ(package.getScanBoardAddr(), 5);
    EXPECT_EQ(package.getHighAddr(), 6);
    EXPECT_EQ(package.getLowAddr(), 7);
    EXPECT_EQ(package.getReserved2(), 0x30);
    EXPECT_EQ(package.getTimeout(), 9);
    EXPECT_EQ(package.getTag(), QStringLiteral("tag"));
    EXPECT_EQ(package.getTagProto(), QStringLiteral("3rdCalder-proto"));
    EXPECT_EQ(package.getReadWriteCode(), code);
    EXPECT_EQ(package.getClientPackageType(), kind);
    EXPECT_EQ(package.getCommResult(), commResult);
    EXPECT_EQ(package.getAckCode(), 0U);
    EXPECT_TRUE(package.getIsRegisterAddrSelfIncreasing());
    EXPECT_NE(package.getSerialNum(), 0U);
}

/// Catches log messages while it lives.
class LogCapture
{
public:
    struct Entry
    {
        QtMsgType type;
        QString file;
        int line;
        QString function;
        QString category;
        QString text;
    };

    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture &) = delete;
    LogCapture &operator=(const LogCapture &) = delete;

    const std::vector<Entry> &messages() const;

private:
    QtMessageHandler m_previous;
};

#endif
