// A user of the installed library: a request and its reply with every class that has a payload.

#include <packagebase.h>
#include <packagerequestcombination.h>
#include <packagerequestreaddata.h>
#include <packagerequestwritedata.h>

#include <cstdio>

int main()
{
    PackageRequestWriteData write;
    write.setDeviceKey(QStringLiteral("usb/0"));
    write.setData(QByteArray("\x01\x02", 2));
    write.setPackageDataLength(2);
    PackageRequestWriteData decoded;
    int consumed = 0;
    const bool frame = decoded.UnPackageRequest(write.MackPackageRequest(), 0, &consumed)
        && decoded.data() == write.data() && decoded.getDeviceKey() == write.getDeviceKey();

    PackageRequestCombination combination;
    const bool record = combination.unCombinationPackageRequest(QStringLiteral("writeData^")
                                                                + write.makePackageRequest())
        && combination.makeCombinationPackageRequest();
    for (PackageBase *package : combination.packageList())
        PackageBase::clear(package);

    std::puts(frame && record ? "consumer: ok" : "consumer: wrong");
    return frame && record ? 0 : 1;
}
