#include "serialplace.h"

#include <korvininspect/packageexplain.h>
#include <korvininspect/packageforms.h>

#include <numeric>

using namespace KorvinInspect;

namespace {

int sumOf(const QByteArray &bytes)
{
    return std::accumulate(bytes.begin(), bytes.end(), 0,
                           [](int sum, char byte) { return sum + static_cast<uchar>(byte); });
}

/// Adds to the checksum of a Linux frame what the sum of its bytes has grown by. A checksum that
/// was wrong is as wrong as before.
void addToChecksum(QByteArray *frame, int growth)
{
    constexpr int ByteBits = 8;
    const auto low = frame->size() - 2;
    const int sum = static_cast<uchar>(frame->at(low))
        + (static_cast<uchar>(frame->at(low + 1)) << ByteBits) + growth;
    (*frame)[low] = static_cast<char>(sum);
    (*frame)[low + 1] = static_cast<char>(sum >> ByteBits);
}

void put(QByteArray *bytes, Form form, const SerialPlace &place, const QByteArray &raw)
{
    const auto end = place.offset + place.raw.size();
    const bool hasChecksum = form == Form::Linux && end + 2 <= bytes->size();
    bytes->replace(place.offset, place.raw.size(), raw);
    if (hasChecksum)
        addToChecksum(bytes, sumOf(raw) - sumOf(place.raw));
}

std::vector<SerialPlace> placesIn(const QByteArray &bytes, const MessageShape &shape)
{
    const QString text = shape.form == Form::Text ? QString::fromUtf8(bytes) : QString();
    std::vector<SerialPlace> places;
    for (const ExplainedField &field : explain(bytes, shape)) {
        if (field.name != QLatin1String("serialNum") || !field.value.isValid())
            continue;
        // Of a record, it counts characters.
        const auto offset =
            shape.form == Form::Text ? text.left(field.offset).toUtf8().size() : field.offset;
        if (bytes.mid(offset, field.raw.size()) == field.raw) // not so after what is no UTF-8
            places.push_back(
                {field.item, static_cast<int>(offset), field.raw, field.value.toULongLong()});
    }
    return places;
}

const SerialPlace *placeOfItem(const std::vector<SerialPlace> &places, int item)
{
    for (const SerialPlace &place : places) {
        if (place.item == item)
            return &place;
    }
    return nullptr;
}

/// Replaces the serial number of a reply, or of an item's part of it.
void replaceIn(QByteArray *reply, const MessageShape &shape, const SerialPlace *recorded,
               const SerialPlace *live)
{
    const std::optional<quint32> number = serialNumOfReply(*reply, shape.form);
    if (!recorded || !live || number != recorded->value)
        return;
    if (shape.form == Form::Text) // in its first column
        return put(reply, shape.form, {0, 0, reply->left(reply->indexOf(',')), *number},
                   QByteArray::number(live->value));
    for (const SerialPlace &place : placesIn(*reply, shape)) {
        if (place.raw.size() == live->raw.size())
            put(reply, shape.form, place, live->raw);
    }
}

} // namespace

std::vector<SerialPlace> serialPlacesOf(const Message &request)
{
    return placesIn(request.bytes, {request.classId, request.form, Direction::Request});
}

Message withoutSerialNums(const Message &request)
{
    Message without = request;
    const std::vector<SerialPlace> places = serialPlacesOf(request);
    // From the end: a number of a record may become shorter.
    for (auto place = places.rbegin(); place != places.rend(); ++place) {
        const QByteArray zero = request.form == Form::Text ? QByteArrayLiteral("0")
                                                           : QByteArray(place->raw.size(), '\0');
        put(&without.bytes, request.form, *place, zero);
    }
    return without;
}

QByteArray withSerialNumsOf(const Message &reply, const std::vector<SerialPlace> &recorded,
                            const std::vector<SerialPlace> &live)
{
    const MessageShape shape{reply.classId, reply.form, Direction::Reply};
    const bool isCombination = reply.classId == ClassId::PackageRequestCombination;
    // The texts of other replies may have a "|", too.
    QList<QByteArray> parts = isCombination ? reply.bytes.split('|') : QList{reply.bytes};
    int item = isCombination ? 1 : 0;
    for (QByteArray &part : parts) {
        replaceIn(&part, shape, placeOfItem(recorded, item), placeOfItem(live, item));
        ++item;
    }
    return parts.join('|');
}
