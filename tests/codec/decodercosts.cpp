// Decodes every growing input at sizes that double, and prints which in order. decodercosts_test.py
// runs this under valgrind, which counts the instructions of every call of measured().

#include "growinginputs.h"

#include <QtCore/QtGlobal>

#include <cstdio>

extern "C" Q_NEVER_INLINE void measured(const std::function<void()> &run)
{
    run();
}

int main()
{
    qInstallMessageHandler([](auto...) {});
    for (const GrowingInput &input : growingInputs()) {
        input.prepare(100)(); // makes what is made only once
        for (const int size : {2000, 4000, 8000, 16000}) {
            const std::function<void()> run = input.prepare(size);
            std::printf("%d %s\n", size, input.name.c_str());
            measured(run);
        }
    }
}
