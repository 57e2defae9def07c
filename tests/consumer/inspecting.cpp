// A user of the installed library that explains packages.

#include <korvininspect/packagedebug.h>
#include <korvininspect/packagejson.h>
#include <packagerequestread.h>

#include <cstdio>

int main()
{
    PackageRequestRead read;
    read.setTag(QStringLiteral("tag"));
    PackageRequestRead copy;
    const bool same =
        KorvinInspect::packageFromJson(KorvinInspect::packageToJson(read), copy).isEmpty()
        && copy.getTag() == read.getTag();
    QString text;
    QDebug(&text) << copy;
    const bool shown = text.contains(QStringLiteral("tag=\"tag\""));
    std::puts(same && shown ? "inspecting consumer: ok" : "inspecting consumer: wrong");
    return same && shown ? 0 : 1;
}
