#ifndef KORVINPACKAGE_SPECIALPACKAGEREQUEST_H
#define KORVINPACKAGE_SPECIALPACKAGEREQUEST_H

#include "packagebase.h"

/// A request to the proxy itself: an identifier, a text and two settings. It addresses no register
/// and carries no data.
///
/// The frames are those of PackageBase. **Record columns**, instead of those of PackageBase:
///
/// <!-- table: special record -->
///
/// | column | field   | written       | read            |
/// |--------|---------|---------------|-----------------|
/// | 0      | id      | signed        | signed 32-bit   |
/// | 1      | timeout | signed 32-bit | unsigned 32-bit |
/// | 2      | strData | as it stands  | as it stands    |
///
/// A reply adds the acknowledge code as column 3. A request, and its reply:
///
///     12,0,hello
///     12,0,hello,0
///
/// The inherited unPackageReply() needs 16 columns and so refuses the reply of a special request.
/// unPackageRequest() reads its first three columns; KorvinInspect::decodeMessage() reads all four.
class KORVINPACKAGE_EXPORT SpecialPackageRequest : public PackageBase
{
    Q_OBJECT

public:
    /// Makes a request with the next serial number, id 0, the time-out of PackageBase(), and end
    /// time-out 3600000.
    SpecialPackageRequest();

    /// Makes a request with the next serial number and time-out 0. Use the setter for an end
    /// time-out above 65535.
    SpecialPackageRequest(int id, unsigned short endTimeOut);

    /// The same with a device key.
    SpecialPackageRequest(int id, unsigned short endTimeOut, QString deviceKey);

    /// @{
    /// Copies all fields. Moving moves the text and copies everything else.
    SpecialPackageRequest(const SpecialPackageRequest &other);
    SpecialPackageRequest(SpecialPackageRequest &&other);
    SpecialPackageRequest &operator=(const SpecialPackageRequest &other);
    SpecialPackageRequest &operator=(SpecialPackageRequest &&other);
    /// @}

    ~SpecialPackageRequest() override;

    /// @{
    /// Says what the proxy should do; signed, 32 bits. The proxy defines the numbers.
    int id() const;
    void setId(int id);
    /// @}

    /// @{
    /// The text of the request. A "," in it ends the column.
    QString strData() const;
    void setStrData(const QString &strData);
    /// @}

    /// @{
    /// End time-out of the special flag. Not encoded.
    int specialFlagEndTimeOut() const;
    void setSpecialFlagEndTimeOut(const int &specialFlagEndTimeOut);
    /// @}

    /// @{
    /// Whether the request applies to all ports. Not encoded.
    bool getEnabledSpecialPackForAllPort() const;
    void setEnabledSpecialPackForAllPort(const bool &enabledSpecialPackForAllPort);
    /// @}

    using PackageBase::unPackage;

    /// Reads the three columns and ignores any further ones.
    ///
    /// @return false, with nothing changed, for fewer than 3 columns.
    bool unPackage(QString text) override;

    /// Returns the three columns.
    QString makePackage() override;

private:
    int m_nFieldCount;
    int m_id = 0;
    QString m_strData;
    int m_specialFlagEndTimeOut = 3600000;
    bool m_enabledSpecialPackForAllPort = false;
};

#endif
