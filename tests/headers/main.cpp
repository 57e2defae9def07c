// Calls the use of every public header.

#include <QtCore/QCoreApplication>

#include <cstdio>

#define USE(name) bool name();
#include "calls.inc"
#undef USE

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    int failed = 0;
    const auto expect = [&failed](bool ok, const char *name) {
        if (!ok)
            std::printf("wrong: %s\n", name);
        failed += ok ? 0 : 1;
    };
#define USE(name) expect(name(), #name);
#include "calls.inc"
#undef USE
    return failed == 0 ? 0 : 1;
}
