#include "carriedfields_p.h"

#include "classlayouts_p.h"

#include <algorithm>

using namespace KorvinInspect;

namespace KorvinExchange {

namespace {

/// Collects the fields of a layout.
class Collector : public FieldSink
{
public:
    void add(const WireField &field) override { m_fields.push_back(field); }

    const std::vector<WireField> &fields() const { return m_fields; }

    bool has(const WireField &wanted) const
    {
        return std::any_of(m_fields.begin(), m_fields.end(),
                           [&](const WireField &field) { return field.source == wanted.source; });
    }

private:
    std::vector<WireField> m_fields;
};

/// Returns whether a column is one of those that only a reply fills in.
bool isResult(const WireField &column)
{
    return column.type == WireType::CommResult || column.type == WireType::PackageResult;
}

/// Returns whether a column is the data of a Linux frame or its length.
bool isData(const WireField &column)
{
    return column.type == WireType::Length || column.type == WireType::DataString;
}

/// Walks over the layouts of an empty record and of empty frames. Of a frame, that shows the fields
/// that every frame has. It does not show the name of a file to write: the frame has no size of it,
/// and so decoders do not find it.
CarriedFields carriedFieldsOf(const PackageClass &itsClass)
{
    const Korvin::ClassRow &row = rowOf(itsClass.id);
    Korvin::LayoutFields fields;
    Collector record;
    RecordScanner columns(QStringView(), record);
    scanRecordAsWritten(columns, row, false, fields);
    Collector frame;
    const QByteArray empty;
    scanFrameAsWritten(empty, {itsClass.id, Form::Frame, Direction::Request}, fields, frame);
    Collector linuxFrame;
    FrameScanner header(empty, linuxFrame);
    fields.linuxHeader.walk(header);

    const PackageBasePrivate &common = fields.common;
    const void *const ofLink[] = {&common.deviceKey, &common.tag, &common.timeout};
    const std::unique_ptr<PackageBase> assumed = itsClass.create();
    CarriedFields carried;
    for (const WireField &column : record.fields()) {
        const PackageField *field = itsClass.field(QString::fromLatin1(column.name));
        const LackedField lacked{field, field->describe(*assumed)};
        const bool isText = column.type == WireType::Text || column.type == WireType::Answer;
        if (isText && column.source != &common.tag)
            carried.texts.push_back(field);
        if (!isResult(column) && !frame.has(column))
            carried.notInFrames.push_back(lacked);
        const bool isOfLink = std::count(std::begin(ofLink), std::end(ofLink), column.source) > 0;
        if (!isResult(column) && !isData(column) && !isOfLink && !linuxFrame.has(column))
            carried.notInLinuxFrames.push_back(lacked);
    }
    return carried;
}

std::vector<CarriedFields> allCarriedFields()
{
    std::vector<CarriedFields> all;
    for (const PackageClass &itsClass : packageClasses())
        all.push_back(carriedFieldsOf(itsClass));
    return all;
}

} // namespace

const CarriedFields &carriedFields(ClassId classId)
{
    static const std::vector<CarriedFields> all = allCarriedFields(); // in the order of their ids
    return all[static_cast<std::size_t>(classId)];
}

} // namespace KorvinExchange
