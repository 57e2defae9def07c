#include "growinginputs.h"

#include <commpackagebase.h>
#include <korvininspect/hexbytes.h>
#include <korvininspect/packagecheck.h>
#include <korvininspect/packageclass.h>
#include <korvininspect/packageexplain.h>
#include <korvininspect/packageforms.h>
#include <korvininspect/packageguess.h>
#include <korvininspect/packagejson.h>
#include <packagerequestcombination.h>
#include <packagerequestreaddata.h>
#include <packagerequestwritedata.h>

#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>

#include <memory>
#include <utility>

using namespace KorvinInspect;

namespace {

using Run = std::function<void()>;
using Bytes = std::function<QByteArray(int)>;
using Text = std::function<QString(int)>;

// The most memory that decoding may take, by what a byte or character becomes.
constexpr bool Qt6 = QT_VERSION_MAJOR > 5;       // where texts and arrays are larger objects
constexpr MemoryBound Block{2, 2000};            // copied
constexpr MemoryBound Appended{4, 2000};         // in memory that grows to twice its size
constexpr MemoryBound FrameText{3, 2000};        // twice as wide
constexpr MemoryBound RecordText{3, 2000};       // copied, and as wide as it is
constexpr MemoryBound Item{Qt6 ? 44 : 40, 4000}; // of "ReadData^|": a package with all its fields
constexpr MemoryBound Verdicts{8, 4000};         // text of the input, and UTF-8 of the text
constexpr MemoryBound Guesses{8, Qt6 ? 36000 : 32000}; // the same, and a verdict for every shape
constexpr MemoryBound Fields{Qt6 ? 512 : 320,
                             Qt6 ? 20000 : 16000}; // of ",": a field with its value and remarks
constexpr MemoryBound Json{8, 4000};

QByteArray littleEndian(int value, int width)
{
    QByteArray bytes;
    int index = 0;
    PackageBase::SetBytesFromInt(&bytes, 0, 1, value, &index);
    for (int i = 1; i < width; ++i)
        PackageBase::SetBytesFromInt(&bytes, i, 1, value >> (8 * i), &index);
    return bytes;
}

/// A header with a device key of so many bytes, and what follows it.
QByteArray frame(char marker, const QByteArray &key, const QByteArray &payload)
{
    return marker + littleEndian(key.size(), 2) + key + QByteArray(20, '\0') + payload;
}

QByteArray block(const QByteArray &data)
{
    return littleEndian(data.size(), 4) + data;
}

QByteArray linuxFrame(int length, const QByteArray &data)
{
    QByteArray bytes =
        QByteArray("\x55\xAA") + QByteArray(14, '\0') + littleEndian(length, 2) + data;
    int sum = 0;
    PackageBase::calcRevise(bytes, 2, bytes.size() - 2, &sum);
    return bytes + littleEndian(sum, 2);
}

GrowingInput frameInput(const PackageClass &itsClass, Direction direction, const char *what,
                        const MemoryBound &bound, const Bytes &input)
{
    const char *form = direction == Direction::Request ? "request frame" : "reply frame";
    return {itsClass.name.toStdString() + ", " + form + ", " + what, bound,
            [&itsClass, direction, input](int size) -> Run {
                const std::shared_ptr<PackageBase> package = itsClass.create();
                return [package, direction, bytes = input(size)] {
                    int consumed = 0;
                    bool full = false;
                    if (direction == Direction::Request)
                        package->UnPackageRequest(bytes, 0, &consumed);
                    else
                        package->UnPackageReply(bytes, 0, &consumed, &full);
                };
            }};
}

GrowingInput recordInput(const PackageClass &itsClass, Direction direction, const char *what,
                         const MemoryBound &bound, const Text &input)
{
    const char *form = direction == Direction::Request ? "request record" : "reply record";
    return {itsClass.name.toStdString() + ", " + form + ", " + what, bound,
            [&itsClass, direction, input](int size) -> Run {
                const std::shared_ptr<PackageBase> package = itsClass.create();
                return [package, direction, text = input(size)] {
                    if (direction == Direction::Request)
                        package->unPackageRequest(text);
                    else
                        package->unPackageReply(text);
                };
            }};
}

template <typename Package>
GrowingInput linuxInput(const char *what, const Bytes &input)
{
    return {std::string(Package::staticMetaObject.className()) + ", Linux reply, " + what, Block,
            [input](int size) -> Run {
                const auto package = std::make_shared<Package>();
                return [package, bytes = input(size)] { package->unPackageReply_Linux(bytes); };
            }};
}

GrowingInput combinationInput(const char *what, const Text &input)
{
    return {std::string("PackageRequestCombination, ") + what, Item, [input](int size) -> Run {
                return [text = input(size)] {
                    PackageRequestCombination combination;
                    combination.unCombinationPackageRequest(text);
                    combination.makeCombinationPackageRequest();
                    for (PackageBase *package : combination.packageList())
                        PackageBase::clear(package);
                };
            }};
}

/// Operations that read an input, but do not decode a package.
GrowingInput readerInput(const char *what, const MemoryBound &bound,
                         const std::function<void(const QByteArray &)> &read, const Bytes &input)
{
    return {what, bound, [read, input](int size) -> Run {
                return [read, bytes = input(size)] { read(bytes); };
            }};
}

void appendFrames(std::vector<GrowingInput> &inputs, const PackageClass &itsClass)
{
    for (const Direction direction : {Direction::Request, Direction::Reply}) {
        const char marker = direction == Direction::Request ? '\0' : '\1';
        inputs.push_back(frameInput(itsClass, direction, "long key", FrameText, [=](int size) {
            return frame(marker, QByteArray(size, 'k'), QByteArray(40, '\0'));
        }));
        inputs.push_back(frameInput(itsClass, direction, "no UTF-8", FrameText, [=](int size) {
            return frame(marker, QByteArray(size, '\xFF'), QByteArray(40, '\0'));
        }));
        inputs.push_back(
            frameInput(itsClass, direction, "trailing bytes", FrameText,
                       [=](int size) { return frame(marker, {}, QByteArray(size, '\0')); }));
    }
}

void appendRecords(std::vector<GrowingInput> &inputs, const PackageClass &itsClass)
{
    const auto record = [](const QString &number, const QString &key, const QString &more) {
        return number + QLatin1Char(',') + key
            + QLatin1String(",1,2,3,4,5,6,7,8,read,9,tag,ok,ok,0,1,data,1,1") + more;
    };
    for (const Direction direction : {Direction::Request, Direction::Reply}) {
        inputs.push_back(recordInput(itsClass, direction, "escaped key", RecordText, [=](int size) {
            return record(QStringLiteral("1"), QStringLiteral("*#*#*#").repeated(size / 6), {});
        }));
        inputs.push_back(recordInput(itsClass, direction, "long number", RecordText, [=](int size) {
            return record(QString(size, QLatin1Char('9')), {}, {});
        }));
        inputs.push_back(recordInput(itsClass, direction, "columns", RecordText, [=](int size) {
            return record({}, {}, QString(size, QLatin1Char(',')));
        }));
        inputs.push_back(recordInput(itsClass, direction, "names", RecordText, [=](int size) {
            return QString(12, QLatin1Char(',')) + QString(size / 4, QLatin1Char('t'))
                + QLatin1Char(',') + QString(size / 4, QLatin1Char('c')) + QLatin1Char(',')
                + QString(size / 4, QLatin1Char('p'))
                + QStringLiteral(",0,%1,1,1,1").arg(QString(size / 4, QLatin1Char('w')));
        }));
    }
}

/// A data string of numbers, at @p column.
Text dataRecord(int column, const char *each)
{
    return [column, number = QString::fromLatin1(each)](int size) {
        const int numbers = size / (number.size() + 1);
        return QString(column - 1, QLatin1Char(',')) + QString::number(numbers) + QLatin1Char(',')
            + (number + QLatin1Char('/')).repeated(numbers - 1) + number;
    };
}

void appendData(std::vector<GrowingInput> &inputs)
{
    const PackageClass &read = *packageClass(QStringLiteral("PackageRequestReadData"));
    const PackageClass &write = *packageClass(QStringLiteral("PackageRequestWriteData"));
    const PackageClass &file = *packageClass(QStringLiteral("PackageRequestWriteFile"));
    const PackageClass &readFile = *packageClass(QStringLiteral("PackageRequestReadFile"));
    const auto data = [](int front) {
        return [=](int size) {
            return frame('\0', {}, QByteArray(front, '\0') + block(QByteArray(size, 'd')));
        };
    };
    inputs.push_back(frameInput(read, Direction::Request, "data", Block, data(5)));
    inputs.push_back(frameInput(write, Direction::Request, "data", Block, data(2)));
    inputs.push_back(frameInput(file, Direction::Request, "name", FrameText, data(2)));
    inputs.push_back(frameInput(readFile, Direction::Request, "name", FrameText, [](int size) {
        return frame('\0', {}, QByteArray(5, '\0') + littleEndian(size, 2) + QByteArray(size, 'n'));
    }));
    inputs.push_back(frameInput(read, Direction::Reply, "data", Block, [](int size) {
        return QByteArray(6, '\0') + block(QByteArray(size, 'd'));
    }));
    const std::pair<const char *, const char *> kinds[] = {
        {"", "empty numbers"}, {"255", "numbers"}, {"-0000000001", "long numbers"}};
    for (const auto &[number, what] : kinds) {
        inputs.push_back(
            recordInput(read, Direction::Reply, what, RecordText, dataRecord(19, number)));
        inputs.push_back(
            recordInput(write, Direction::Request, what, RecordText, dataRecord(18, number)));
        inputs.push_back(
            recordInput(write, Direction::Reply, what, RecordText, dataRecord(19, number)));
    }
    const Bytes fitting = [](int size) { return linuxFrame(size, QByteArray(size, 'd')); };
    const Bytes longer = [](int size) { return linuxFrame(7, QByteArray(size, 'd')); };
    inputs.push_back(linuxInput<PackageRequestReadData>("data", fitting));
    inputs.push_back(linuxInput<PackageRequestReadData>("trailing bytes", longer));
    inputs.push_back(linuxInput<PackageRequestWriteData>("data", fitting));
    inputs.push_back(linuxInput<PackageRequestWriteData>("trailing bytes", longer));
}

void appendCombinations(std::vector<GrowingInput> &inputs)
{
    inputs.push_back(combinationInput(
        "empty items", [](int size) { return QStringLiteral("ReadData^|").repeated(size / 10); }));
    inputs.push_back(combinationInput("items", [](int size) {
        return QStringLiteral("writeData^1,k,1,2,3,4,5,6,7,8,write,9,t,ok,ok,true,data,2,1/2|")
            .repeated(size / 64);
    }));
    inputs.push_back(combinationInput("one long item", [](int size) {
        return QLatin1String("writeData^1,") + QString(size, QLatin1Char('k'))
            + QLatin1String(",1,2,3,4,5,6,7,8,write,9,t,ok,ok,true,data,2,1/2");
    }));
    inputs.push_back(
        combinationInput("parts", [](int size) { return QString(size, QLatin1Char('^')); }));
}

void appendReaders(std::vector<GrowingInput> &inputs)
{
    const Bytes commas = [](int size) { return QByteArray(size, ','); };
    const Bytes items = [](int size) { return QByteArray("ReadData^|").repeated(size / 10); };
    const Bytes data = [](int size) {
        constexpr int ReadWriteCode = 17;
        QByteArray write = frame('\0', {}, QByteArray(2, '\0') + block(QByteArray(size, 'd')));
        write[ReadWriteCode] = 1;
        return write;
    };
    const Bytes numbers = [](int size) {
        return QByteArray(17, ',') + QByteArray::number(size / 2) + ','
            + QByteArray("1/").repeated(size / 2 - 1) + '1';
    };
    const MessageShape record{ClassId::PackageBase, Form::Text, Direction::Request};
    const MessageShape combination{ClassId::PackageRequestCombination, Form::Text,
                                   Direction::Request};
    const MessageShape writeFrame{ClassId::PackageRequestWriteData, Form::Frame,
                                  Direction::Request};
    const MessageShape writeRecord{ClassId::PackageRequestWriteData, Form::Text,
                                   Direction::Request};
    const MessageShape linuxReply{ClassId::PackageRequestReadData, Form::Linux, Direction::Reply};
    const auto checking = [](const MessageShape &shape) {
        return [=](const QByteArray &input) { check(input, shape); };
    };
    const auto explaining = [](const MessageShape &shape) {
        return [=](const QByteArray &input) { explain(input, shape); };
    };
    const auto guessing = [](const QByteArray &input) { guess(input); };
    // As a frame, it has a text that is longer than the largest input.
    const Bytes columns = [](int size) { return QByteArray("zzz,").repeated(size / 4); };
    const Bytes linuxData = [](int size) { return linuxFrame(size, QByteArray(size, 'd')); };
    inputs.push_back(readerInput("check, columns", Verdicts, checking(record), commas));
    inputs.push_back(readerInput("check, items", Verdicts, checking(combination), items));
    inputs.push_back(readerInput("check, data of a frame", Verdicts, checking(writeFrame), data));
    inputs.push_back(
        readerInput("check, data of a record", Verdicts, checking(writeRecord), numbers));
    inputs.push_back(
        readerInput("check, data of a Linux frame", Verdicts, checking(linuxReply), linuxData));
    const auto decoding = [](const MessageShape &shape) {
        return [=](const QByteArray &input) {
            std::unique_ptr<PackageBase> package;
            if (!decodeMessage(input, shape, &package).isOk())
                qFatal("not accepted");
        };
    };
    const Bytes acceptedNumbers = [](int size) {
        const int count = qMax(1, size / 2);
        return "1,k,1,2,3,4,5,6,7,8,write,9,t,ok,ok,true,data," + QByteArray::number(count) + ','
            + QByteArray("1/").repeated(count - 1) + '1';
    };
    inputs.push_back(
        readerInput("decodeMessage, data of a frame", Verdicts, decoding(writeFrame), data));
    inputs.push_back(readerInput("decodeMessage, data of a record", Verdicts, decoding(writeRecord),
                                 acceptedNumbers));
    inputs.push_back(readerInput("explain, columns", Fields, explaining(record), commas));
    inputs.push_back(readerInput("explain, items", Fields, explaining(combination), items));
    inputs.push_back(readerInput("explain, data of a frame", Fields, explaining(writeFrame), data));
    inputs.push_back(
        readerInput("explain, data of a record", Fields, explaining(writeRecord), numbers));
    inputs.push_back(readerInput("guess, columns", Guesses, guessing, columns));
    inputs.push_back(readerInput("guess, items", Guesses, guessing, items));
    inputs.push_back(readerInput("guess, data of a frame", Guesses, guessing, data));
    inputs.push_back(readerInput("guess, data of a Linux frame", Guesses, guessing, linuxData));
    inputs.push_back(readerInput(
        "bytesFromHex", Json,
        [](const QByteArray &input) {
            QByteArray bytes;
            bytesFromHex(QString::fromLatin1(input), &bytes);
        },
        [](int size) { return QByteArray(size, 'F'); }));
    inputs.push_back(readerInput(
        "packageFromJson", Json,
        [](const QByteArray &input) {
            PackageRequestWriteData package;
            packageFromJson({{QStringLiteral("data"), QString::fromLatin1(input)}}, package);
        },
        [](int size) { return QByteArray(size, 'F'); }));
    inputs.push_back(readerInput(
        "ReviseOk", Block,
        [](const QByteArray &input) { PackageBase::ReviseOk(input, 0, input.size()); }, linuxData));
    inputs.push_back(readerInput(
        "CommPackageBase", Block,
        [](const QByteArray &input) { CommPackageBase(input, 1, input.size()); }, linuxData));
    inputs.push_back(readerInput(
        "ArrayCopy", Block,
        [](const QByteArray &input) {
            QByteArray copied;
            PackageBase::ArrayCopy(input, 0, &copied, 0, input.size());
        },
        linuxData));
    inputs.push_back(readerInput(
        "ArrayCopy, byte by byte", Appended,
        [](const QByteArray &input) {
            QByteArray copied;
            for (int i = 0; i < input.size(); ++i)
                PackageBase::ArrayCopy(input, i, &copied, i, 1);
        },
        linuxData));
    inputs.push_back(readerInput(
        "SetBytesFromInt, byte by byte", Appended,
        [](const QByteArray &input) {
            QByteArray bytes;
            int index = 0;
            for (int i = 0; i < input.size(); ++i)
                PackageBase::SetBytesFromInt(&bytes, i, 1, input.at(i), &index);
        },
        linuxData));
}

} // namespace

const std::vector<GrowingInput> &growingInputs()
{
    static const std::vector<GrowingInput> inputs = [] {
        std::vector<GrowingInput> made;
        for (const PackageClass &itsClass : packageClasses()) {
            appendFrames(made, itsClass);
            appendRecords(made, itsClass);
        }
        appendData(made);
        appendCombinations(made);
        appendReaders(made);
        return made;
    }();
    return inputs;
}
