#include <packagerequestreaddata.h>

bool korvinpackage_packagerequestreaddata();

bool korvinpackage_packagerequestreaddata()
{
    PackageRequestReadData read;
    read.setData(QByteArray(2, '\1'));
    PackageBase &package = read;
    return package.data().size() == 2 && read.ParseSendRequest_Linux().size() == 20;
}
