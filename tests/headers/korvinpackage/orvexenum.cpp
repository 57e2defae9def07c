#include <orvexenum.h>

bool korvinpackage_orvexenum();

bool korvinpackage_orvexenum()
{
    const OrvexEnum::ReadWriteCode code = OrvexEnum::Write;
    const OrvexEnum::CommResults commResult = OrvexEnum::CommTimeout;
    const OrvexEnum::PackageResults packResult = OrvexEnum::PackTimeOut;
    const OrvexEnum::ClientPackageType kind = OrvexEnum::MemDataPackage;
    return code == 1 && commResult == 5 && packResult == 255 && kind == 2;
}
