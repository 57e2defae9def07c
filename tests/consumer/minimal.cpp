#include <packagerequestread.h>

int main()
{
    return PackageRequestRead().MackPackageRequest().isEmpty() ? 1 : 0;
}
