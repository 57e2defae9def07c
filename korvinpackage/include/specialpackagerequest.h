#ifndef KORVINPACKAGE_SPECIALPACKAGEREQUEST_H
#define KORVINPACKAGE_SPECIALPACKAGEREQUEST_H

#include "packagebase.h"

/// A request to the proxy itself: an identifier, a text and two settings, no register or data.
///
/// The frames are those of PackageBase. **Record columns**, which are all that it has:
///
/// | column | field                                          |
/// |--------|------------------------------------------------|
/// | 0      | id, signed                                     |
/// | 1      | time-out                                       |
/// | 2      | text as it stands; a "," in it ends the column |
/// | 3      | acknowledge code, in a reply only              |
///
/// A request, and its reply:
///
///     12,0,hello
///     12,0,hello,0
///
/// The inherited unPackageReply() wants 16 columns and so refuses the reply of a special request;
/// unPackageRequest() reads its first three columns.
class KORVINPACKAGE_EXPORT SpecialPackageRequest : public PackageBase
{
    Q_OBJECT

public:
    /// The next serial number, id 0, the time-out of PackageBase(), end time-out 3600000.
    SpecialPackageRequest();

    /// The next serial number and time-out 0. An end time-out above 65535 needs its setter.
    SpecialPackageRequest(int id, unsigned short endTimeOut);

    /// The same with a device key.
    SpecialPackageRequest(int id, unsigned short endTimeOut, QString deviceKey);

    /// @{
    /// Copies all fields; moving moves the text and copies the rest.
    SpecialPackageRequest(const SpecialPackageRequest &other);
    SpecialPackageRequest(SpecialPackageRequest &&other);
    SpecialPackageRequest &operator=(const SpecialPackageRequest &other);
    SpecialPackageRequest &operator=(SpecialPackageRequest &&other);
    /// @}

    ~SpecialPackageRequest() override;

    /// @{
    /// What is asked of the proxy: a number of its own, signed, 32 bits.
    int id() const;
    void setId(int id);
    /// @}

    /// @{
    /// The text of the request. A "," in it ends the column.
    QString strData() const;
    void setStrData(const QString &strData);
    /// @}

    /// @{
    /// End time-out of the special flag; in no encoding.
    int specialFlagEndTimeOut() const;
    void setSpecialFlagEndTimeOut(const int &specialFlagEndTimeOut);
    /// @}

    /// @{
    /// Whether the request applies to all ports; in no encoding.
    bool getEnabledSpecialPackForAllPort() const;
    void setEnabledSpecialPackForAllPort(const bool &enabledSpecialPackForAllPort);
    /// @}

    using PackageBase::unPackage;

    /// Reads the three columns; further ones are ignored.
    ///
    /// @return false, with nothing changed, for fewer than 3 columns.
    bool unPackage(QString text) override;

    /// The three columns.
    QString makePackage() override;

private:
    int m_nFieldCount = 3;
    int m_id = 0;
    QString m_strData;
    int m_specialFlagEndTimeOut = 3600000;
    bool m_enabledSpecialPackForAllPort = false;
};

#endif
