// Plays the simulation for as many requests as wanted, from one seed after the other, or one seed
// step by step.
//
// Usage: korvinexchange_simulation REQUESTS [FIRST-SEED]
//        korvinexchange_simulation --seed SEED REQUESTS

#include "simulation.h"

#include <QtCore/QElapsedTimer>

#include <cstdio>
#include <cstring>

int main(int argc, char *argv[])
{
    constexpr int RequestsOfARun = 1000;
    SimulationCounts counts;
    if (argc == 4 && std::strcmp(argv[1], "--seed") == 0) {
        const quint64 seed = QByteArray(argv[2]).toULongLong();
        const QString failure = Simulation(seed, QByteArray(argv[3]).toInt(), &counts, true).run();
        std::printf("seed %llu: %s\n", seed,
                    failure.isEmpty() ? "all holds" : qUtf8Printable(failure));
        return failure.isEmpty() ? 0 : 1;
    }
    const qint64 requests = argc > 1 ? QByteArray(argv[1]).toLongLong() : 0;
    const quint64 first = argc > 2 ? QByteArray(argv[2]).toULongLong() : 1;
    if (requests <= 0 || argc > 3) {
        std::fputs("usage: korvinexchange_simulation REQUESTS [FIRST-SEED]\n"
                   "       korvinexchange_simulation --seed SEED REQUESTS\n",
                   stderr);
        return 2;
    }
    QElapsedTimer clock;
    clock.start();
    const auto runs = static_cast<quint64>((requests + RequestsOfARun - 1) / RequestsOfARun);
    for (quint64 seed = first; seed < first + runs; ++seed) {
        const QString failure = Simulation(seed, RequestsOfARun, &counts).run();
        if (failure.isEmpty())
            continue;
        std::fprintf(stderr, "seed %llu: %s\nto see it: %s --seed %llu %d\n", seed,
                     qUtf8Printable(failure), argv[0], seed, RequestsOfARun);
        return 1;
    }
    for (const auto &[what, count] : counts)
        std::printf("%12llu  %s\n", count, what.c_str());
    std::printf("%lld requests of %llu seeds from %llu on in %.1f s: all holds\n",
                static_cast<long long>(runs) * RequestsOfARun, runs, first,
                static_cast<double>(clock.elapsed()) / 1000);
    return 0;
}
