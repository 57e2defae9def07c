// Runs a fuzz target over files and the files of directories, with any compiler, and prints the
// digest of what it has observed after each.

#include "fuzztarget.h"

#include <QtCore/QDirIterator>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QStringList>

#include <clocale>
#include <cstdio>
#include <stdexcept>
#include <utility>

namespace {

bool replay(const QString &fileName)
{
    const QByteArray shown = QFile::encodeName(fileName);
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly)) {
        std::fprintf(stderr, "%s: cannot be read\n", shown.constData());
        return false;
    }
    const QByteArray input = file.readAll();
    try {
        if (LLVMFuzzerTestOneInput(reinterpret_cast<const quint8 *>(input.constData()),
                                   static_cast<std::size_t>(input.size()))
            != 0)
            throw std::runtime_error("names no class, or announces much data that does not come");
    } catch (const std::exception &exception) {
        std::fprintf(stderr, "%s: %s\n", shown.constData(), exception.what());
        return false;
    }
    std::printf("%016llx %s\n", static_cast<unsigned long long>(observations.digest),
                shown.constData());
    return true;
}

} // namespace

int main(int argc, char *argv[])
{
    std::setlocale(LC_ALL, "");
    QStringList files;
    for (int i = 1; i < argc; ++i) {
        const QString name = QFile::decodeName(argv[i]);
        if (!QFileInfo(name).isDir())
            files << name;
        for (QDirIterator found(name, QDir::Files); found.hasNext();)
            files << found.next();
    }
    files.sort();
    if (files.isEmpty()) {
        std::fputs("usage: replay FILE|DIRECTORY...\n", stderr);
        return 2;
    }
    observations.areKept = true;
    int failed = 0;
    for (const QString &file : std::as_const(files))
        failed += replay(file) ? 0 : 1;
    std::printf("%d inputs, %d failed\n", static_cast<int>(files.size()), failed);
    return failed == 0 ? 0 : 1;
}
