// What korvinpack finds in texts, dumps and captures; and that it reads back what bytes look like
// in each notation.

#include "fuzztarget.h"

#include <capturemessages.h>
#include <korvininspect/hexbytes.h>
#include <shapewords.h>
#include <textmessages.h>

#include <QtCore/QBuffer>

using namespace KorvinInspect;

namespace {

/// Observes all messages. Returns their size.
qint64 observeAll(MessageSource &source)
{
    qint64 size = 0;
    for (FoundMessage message; source.next(&message);) {
        EXPECT_TRUE(message.fault.isEmpty() || message.notation.isEmpty());
        EXPECT_GT(message.number, 0);
        size += message.bytes.size();
        observe(message.bytes);
        observe((message.fault + message.notation + message.from + message.to).toUtf8());
        observe(QByteArray::number(message.time));
    }
    FoundMessage afterEnd;
    EXPECT_FALSE(source.next(&afterEnd));
    observe(source.summary().toUtf8());
    return size;
}

void readCapture(const QByteArray &file, StreamFraming framing)
{
    QBuffer buffer;
    buffer.setData(file);
    buffer.open(QIODevice::ReadOnly);
    if (!CaptureFile::isCapture(file.left(4)))
        return;
    CaptureMessages source(&buffer, framing);
    // Every byte of a message was captured, once.
    EXPECT_LE(observeAll(source), file.size());
}

InputSettings settingsOf(quint8 choices)
{
    InputSettings settings;
    settings.notation = static_cast<Notation>(choices % 4);
    settings.isOneText = (choices & 4) != 0;
    if ((choices & 8) != 0)
        settings.form = static_cast<Form>(choices / 16 % 3);
    return settings;
}

void readText(const QByteArray &text, const InputSettings &settings)
{
    QBuffer buffer;
    buffer.setData(text);
    buffer.open(QIODevice::ReadOnly);
    TextMessages source(&buffer, settings);
    observeAll(source);
}

/// Writes bytes as "xxd" does.
QByteArray rowsOf(const QByteArray &bytes)
{
    constexpr int RowSize = 16;
    QByteArray text;
    for (int start = 0; start < bytes.size(); start += RowSize) {
        text += QByteArray::number(start, 16).rightJustified(8, '0') + ": "
            + bytes.mid(start, RowSize).toHex(' ') + '\n';
    }
    return text;
}

/// Writes bytes with something before each.
QByteArray prefixed(const QByteArray &bytes, const char *prefix, const char *separator)
{
    QByteArrayList list;
    for (const char byte : bytes)
        list << prefix + QByteArray(1, byte).toHex();
    return list.join(separator);
}

/// Reads bytes back from a text that can be nothing else.
void readBack(const QByteArray &bytes, quint8 kind)
{
    if (linkTypeOf(bytes)) // a network packet is taken apart
        return;
    InputSettings settings;
    QByteArray text;
    switch (kind % 6) {
    case 0:
        text = rowsOf(bytes);
        break;
    case 1:
        text = '{' + prefixed(bytes, "0x", ",\n") + '}';
        break;
    case 2:
        text = '"' + prefixed(bytes, "\\x", "") + '"';
        break;
    case 3:
        text = prefixed(bytes, "", ":");
        break;
    case 4:
        text = prefixed(bytes, "0x", " ");
        break;
    default:
        settings.notation = Notation::Base64;
        text = bytes.toBase64();
    }
    QBuffer buffer;
    buffer.setData(text);
    buffer.open(QIODevice::ReadOnly);
    TextMessages source(&buffer, settings);
    FoundMessage message;
    EXPECT_TRUE(source.next(&message));
    // What begins with a form is cut after its class, or has none that is known.
    if (formWords().contains(QString::fromLatin1(bytes.left(bytes.indexOf(' ')))))
        return;
    EXPECT_EQ(message.fault, QString());
    EXPECT_EQ(message.bytes, bytes);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const quint8 *bytes, std::size_t size)
{
    FuzzInput input(bytes, size);
    const quint8 kind = input.byte();
    const quint8 choices = input.byte();
    const QByteArray rest = input.rest();
    if (kind == 'c')
        readCapture(rest, static_cast<StreamFraming>(choices % 5));
    else if (kind == 't')
        readText(rest, settingsOf(choices));
    else if (rest.size() > 1)
        readBack(rest, choices);
    return 0;
}
