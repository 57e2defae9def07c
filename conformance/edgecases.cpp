#include "edgecases.h"

#include "casewriter.h"
#include "edges.h"
#include "testvectors.h"

#include <korvininspect/packageexplain.h>
#include <packagebase.h>

#include <algorithm>
#include <set>

using namespace KorvinInspect;

namespace {

/// A field and its edges, which take turns in its cases.
struct EdgesOfField
{
    const PackageField *field;
    std::vector<QJsonValue> values;
};

/// The cases of one form of one class.
class FormCases
{
public:
    FormCases(const PackageClass &ofClass, const FormOfVector &form)
        : m_class(ofClass)
        , m_form(form)
        , m_shape{ofClass.id, form.encoding.form, form.encoding.direction}
    {
        for (const PackageField &field : ofClass.fields) {
            if (field.valueType == ValueType::Length)
                m_length = &field;
            if (field.valueType == ValueType::Data)
                m_hasData = true;
        }
        const QByteArray encoded = encode(*distinctPackage());
        for (const ExplainedField &explained : explain(encoded, m_shape))
            m_carried.insert(explained.name);
    }

    void write()
    {
        if (isEncoded())
            writeEncoded();
        if (m_shape.form == Form::Text) {
            writeColumns();
            writeColumnCounts();
        } else {
            writeBytes();
            writeSizes();
            writeCuts();
        }
        if (m_shape.form == Form::Linux)
            writeFlippedBits();
    }

private:
    bool isLinux() const { return m_shape.form == Form::Linux; }
    bool isRequest() const { return m_shape.direction == Direction::Request; }

    /// No encoder makes the reply of a Linux frame; it has the layout of the request.
    bool isEncoded() const { return !isLinux() || isRequest(); }

    CaseWriter writer(const QString &name) const
    {
        return {m_class,
                QStringLiteral("%1: %2: %3").arg(m_class.name, name, QLatin1String(m_form.name))};
    }

    QByteArray encode(PackageBase &package) const
    {
        Encoding encoding = m_form.encoding;
        if (isLinux())
            encoding.direction = Direction::Request;
        return encodedBy(package, encoding);
    }

    void setData(PackageBase &package, const DataEdge &edge) const
    {
        package.setData(edge.data);
        m_length->set(package, edge.length);
    }

    /// Returns a package that every form can carry and whose fields all differ.
    std::unique_ptr<PackageBase> distinctPackage() const
    {
        std::unique_ptr<PackageBase> package = m_class.create();
        int number = 40;
        for (const PackageField &field : m_class.fields) {
            number += 3;
            if (field.valueType == ValueType::Number || field.valueType == ValueType::Length)
                field.set(*package, number);
            else if (field.valueType == ValueType::Text)
                field.set(*package, QStringLiteral("t%1").arg(number));
            else
                field.set(*package, 1);
        }
        if (m_hasData)
            setData(*package, {3, QByteArray::fromHex("010203")});
        return package;
    }

    /// Returns whether a field has edges of its own. A length has those of its data.
    bool hasTurn(const PackageField &field) const
    {
        return field.valueType != ValueType::Data && !(m_hasData && &field == m_length);
    }

    std::vector<EdgesOfField> edgesOfFields() const
    {
        std::vector<EdgesOfField> edges;
        for (const PackageField &field : m_class.fields) {
            if (!hasTurn(field) || !m_carried.contains(field.name))
                continue;
            EdgesOfField ofField{&field, valueEdges(m_class, field)};
            if (!ofField.values.empty())
                edges.push_back(std::move(ofField));
        }
        return edges;
    }

    /// Returns a package with an edge in each field.
    std::unique_ptr<PackageBase> packageOfRound(const std::vector<EdgesOfField> &edges,
                                                int round) const
    {
        std::unique_ptr<PackageBase> package = distinctPackage();
        int turnOfField = 0;
        for (const EdgesOfField &ofField : edges)
            ofField.field->set(*package, turn(ofField.values, round, turnOfField++));
        if (m_hasData)
            setData(*package, turn(dataEdges(), round, turnOfField));
        return package;
    }

    void writeEncoded()
    {
        std::vector<EdgesOfField> edges = edgesOfFields();
        if (!isLinux()) {
            writeEncoded(QStringLiteral("edges"), edges);
            return;
        }
        // The format defines the layouts of reads and writes; for any other code it only says that
        // there is a frame.
        const auto code = std::find_if(edges.begin(), edges.end(), [](const EdgesOfField &ofField) {
            return ofField.field->name == QLatin1String("readWriteCode");
        });
        for (const char *word : {"read", "write"}) {
            code->values = {QLatin1String(word)};
            writeEncoded(QLatin1String(word) + QStringLiteral(" edges"), edges);
        }
    }

    void writeEncoded(const QString &name, const std::vector<EdgesOfField> &edges)
    {
        std::size_t rounds = m_hasData ? dataEdges().size() : 1;
        for (const EdgesOfField &ofField : edges)
            rounds = std::max(rounds, ofField.values.size());
        for (int round = 0; round < static_cast<int>(rounds); ++round) {
            const std::unique_ptr<PackageBase> package = packageOfRound(edges, round);
            writer(QStringLiteral("%1 %2").arg(name).arg(round + 1))
                .encode(*package, m_form.encoding, encode(*package));
        }
    }

    // Records

    /// Returns the columns of a record, which all differ. The encoder of a special request's reply
    /// writes fewer columns than its decoder needs, so this adds the missing ones.
    QStringList distinctColumns() const
    {
        QStringList columns = QString::fromUtf8(encode(*distinctPackage())).split(QLatin1Char(','));
        while (!isDecoded(*m_class.create(), m_form.encoding, recordOf(columns)))
            columns << QString::number(columns.size());
        return columns;
    }

    static QByteArray recordOf(const QStringList &columns)
    {
        return columns.join(QLatin1Char(',')).toUtf8();
    }

    /// Returns the edges of each column except those of the data. A column that is not read has
    /// texts; one that is read twice has the edges of both fields.
    std::vector<QStringList> edgesOfColumns(const QStringList &columns, int *dataColumn) const
    {
        std::vector<QStringList> edges(static_cast<std::size_t>(columns.size()));
        const auto at = [&](int column) -> QStringList & {
            return edges[static_cast<std::size_t>(column)];
        };
        for (const ExplainedField &explained : explain(recordOf(columns), m_shape)) {
            const PackageField *field = m_class.field(explained.name);
            if (!field)
                field = m_class.field(QStringLiteral("tag"));
            if (field->valueType == ValueType::Data) {
                *dataColumn = explained.column;
                at(explained.column - 1).clear();
            } else {
                at(explained.column) += columnEdges(m_class, *field);
            }
        }
        for (QStringList &ofColumn : edges)
            ofColumn.removeDuplicates();
        return edges;
    }

    void writeRecord(const QString &name, const QStringList &columns,
                     const QSet<QString> &undefined = {})
    {
        writer(name).decodeAsTheLibrary(recordOf(columns), m_form.encoding, undefined);
    }

    void writeColumns()
    {
        int dataColumn = 0;
        const QStringList distinct = distinctColumns();
        const std::vector<QStringList> edges = edgesOfColumns(distinct, &dataColumn);
        int rounds = 0;
        for (const QStringList &ofColumn : edges)
            rounds = qMax(rounds, ofColumn.size());
        for (int round = 0; round < rounds; ++round) {
            QStringList columns = distinct;
            for (int column = 0; column < columns.size(); ++column) {
                const QStringList &ofColumn = edges[static_cast<std::size_t>(column)];
                if (!ofColumn.isEmpty())
                    columns[column] = turn(ofColumn, round, column);
            }
            if (dataColumn > 0)
                setDataColumns(turn(agreeingDataColumns(), round, 0), dataColumn, &columns);
            writeRecord(QStringLiteral("edges %1").arg(round + 1), columns);
        }
        if (dataColumn > 0)
            writeDisagreeingData(distinct, dataColumn);
    }

    static void setDataColumns(const DataColumnsEdge &edge, int dataColumn, QStringList *columns)
    {
        (*columns)[dataColumn - 1] = QString::fromUtf8(edge.length);
        (*columns)[dataColumn] = edge.numbers;
    }

    void writeDisagreeingData(QStringList columns, int dataColumn)
    {
        int number = 0;
        for (const DataColumnsEdge &edge : disagreeingDataColumns()) {
            setDataColumns(edge, dataColumn, &columns);
            QSet<QString> undefined;
            // The decoder of a write's reply resizes the data to its announced length.
            const int length = columns[dataColumn - 1].toInt();
            if (length < 0 || length > edge.numbers.count(QLatin1Char('/')) + 1)
                undefined.insert(QStringLiteral("data"));
            writeRecord(QStringLiteral("length and data disagree %1").arg(++number), columns,
                        undefined);
        }
    }

    /// Prints cases of records that are too short, which are refused, and too long, which are not.
    void writeColumnCounts()
    {
        const QStringList distinct = distinctColumns();
        for (int count = 1; count <= distinct.size() + 2; ++count) {
            QStringList columns = distinct.mid(0, count);
            while (columns.size() < count)
                columns << QStringLiteral("more");
            if (isDescribedCount(count))
                writeRecord(QStringLiteral("%1 columns").arg(count), columns);
        }
    }

    /// Returns whether the format says what happens to a reply without an acknowledge code: only
    /// for classes with columns after it.
    bool isDescribedCount(int count) const
    {
        constexpr int AckColumn = 15;
        constexpr int SpecialColumns = 3;
        if (isRequest() || count > AckColumn)
            return true;
        if (m_class.id == ClassId::SpecialPackageRequest)
            return count < SpecialColumns;
        return m_class.id != ClassId::PackageBase || count < AckColumn;
    }

    // Frames

    /// Returns a frame that has all fields of its decoder.
    QByteArray frameOf(PackageBase &package) const { return finished(encode(package)); }

    QByteArray finished(const QByteArray &frame) const
    {
        return isLinux() ? withChecksum(frame) : frame;
    }

    /// Returns the fields of a frame that hold a number other than the size of what follows.
    QVector<ExplainedField> numbersIn(const QByteArray &frame) const
    {
        QVector<ExplainedField> numbers;
        const QVector<ExplainedField> fields = explain(frame, m_shape);
        for (int i = 0; i < fields.size(); ++i) {
            const bool isNumber =
                fields[i].width == 1 || fields[i].width == 2 || fields[i].width == 4;
            if (!isContent(fields[i]) && isNumber && !fields[i].name.isEmpty()
                && !(i + 1 < fields.size() && isContent(fields[i + 1])))
                numbers.append(fields[i]);
        }
        return numbers;
    }

    /// Returns whether a field is a text or data whose size is the field before it.
    bool isContent(const ExplainedField &explained) const
    {
        const PackageField *field = m_class.field(explained.name);
        return field
            && (field->valueType == ValueType::Text || field->valueType == ValueType::Data);
    }

    /// The marker of a reply says which reply it is, and the checksum what is in the frame.
    bool isGiven(const ExplainedField &field) const
    {
        return (field.name == QLatin1String("marker") && !isRequest())
            || field.name == QLatin1String("checksum");
    }

    void writeBytes()
    {
        const std::vector<EdgesOfField> edges = edgesOfFields();
        const int rounds = 2 * static_cast<int>(byteEdges(4).size());
        for (int round = 0; round < rounds; ++round) {
            QByteArray frame = frameOf(*packageOfRound(textsOf(edges), round));
            int turnOfField = 0;
            for (const ExplainedField &field : numbersIn(frame)) {
                if (isGiven(field))
                    continue;
                const std::vector<QByteArray> &bytes = byteEdges(field.width);
                frame.replace(field.offset, field.width, turn(bytes, round, turnOfField++));
            }
            writeFrame(QStringLiteral("edges %1").arg(round + 1), frame);
        }
    }

    static std::vector<EdgesOfField> textsOf(const std::vector<EdgesOfField> &edges)
    {
        std::vector<EdgesOfField> texts;
        std::copy_if(edges.begin(), edges.end(), std::back_inserter(texts),
                     [](const EdgesOfField &ofField) {
                         return ofField.field->valueType == ValueType::Text;
                     });
        // Decoders end a text at its first zero byte.
        for (EdgesOfField &ofText : texts) {
            for (const char *text : {"a|b", "|", "|ab", "ab|"}) {
                ofText.values.emplace_back(
                    QString::fromLatin1(text).replace(QLatin1Char('|'), QChar(0)));
            }
        }
        return texts;
    }

    /// Prints cases of sizes that do not fit what follows them.
    void writeSizes()
    {
        const QByteArray distinct = frameOf(*distinctPackage());
        const QVector<ExplainedField> fields = explain(distinct, m_shape);
        for (int i = 0; i + 1 < fields.size(); ++i) {
            if (!isContent(fields[i + 1]))
                continue;
            const ExplainedField &size = fields[i];
            const int announced = size.value.toInt();
            for (const int wrong :
                 std::set<int>{0, 2, announced - 1, announced + 1, announced + 600, -1}) {
                QByteArray frame = distinct;
                int end = 0;
                PackageBase::SetBytesFromInt(&frame, size.offset, size.width, wrong, &end);
                const QString name = QStringLiteral("size %1 at %2").arg(wrong).arg(size.offset);
                writeFrame(name, frame);
                if (m_form.encoding.replySize == ReplySize::Full && wrong == 2)
                    writeFrame(name + QStringLiteral(", then zeros"),
                               zerosAfter(end + wrong, frame));
            }
        }
    }

    /// Returns a frame with zeros after a position. With a second payload of zeros, some fields
    /// keep the values of the first one.
    static QByteArray zerosAfter(int position, const QByteArray &frame)
    {
        return frame.left(position) + QByteArray(frame.size() - position, '\0');
    }

    void writeCuts()
    {
        const QByteArray distinct = frameOf(*distinctPackage());
        // The checksum of a shorter one is read from before the frame.
        for (int size = isLinux() ? 2 : 0; size < distinct.size(); ++size)
            writeFrame(QStringLiteral("cut to %1 bytes").arg(size), distinct.left(size));
    }

    /// Prints cases of frames with one flipped bit. Decoders do not look at the start bytes.
    void writeFlippedBits()
    {
        const QByteArray distinct = frameOf(*distinctPackage());
        for (int i = 2; i < distinct.size(); ++i) {
            QByteArray frame = distinct;
            frame[i] = static_cast<char>(frame.at(i) ^ 1 << i % 8);
            writer(QStringLiteral("flipped bit %1 of byte %2").arg(i % 8).arg(i))
                .decodeAsTheLibrary(frame, m_form.encoding);
        }
    }

    void writeFrame(const QString &name, const QByteArray &frame)
    {
        const QByteArray whole = finished(frame);
        writer(name).decodeAsTheLibrary(whole, m_form.encoding, undefinedIn(whole));
    }

    /// Returns the texts and data that are partly missing: they have the announced size, but the
    /// format does not say their content.
    QSet<QString> undefinedIn(const QByteArray &frame) const
    {
        QSet<QString> undefined;
        const QVector<ExplainedField> fields = explain(frame, m_shape);
        for (int i = 0; i < fields.size(); ++i) {
            const QString &name = fields[i].name;
            const bool isCut =
                i > 0 && isContent(fields[i]) && fields[i - 1].value.toLongLong() > fields[i].width;
            // A later one replaces it, unless that is empty.
            if (isCut)
                undefined.insert(name);
            else if (isContent(fields[i]) && fields[i].width > 0)
                undefined.remove(name);
        }
        return isLinux() ? undefinedInLinux(fields) : undefined;
    }

    /// Returns the data if it is shorter than announced and its content is not defined: the decoder
    /// of a write fills it up, that of a read takes what is there.
    QSet<QString> undefinedInLinux(const QVector<ExplainedField> &fields) const
    {
        int announced = 0;
        int present = 0;
        for (const ExplainedField &field : fields) {
            if (field.name == QLatin1String("dataLength"))
                announced = field.value.toInt();
            if (field.name == QLatin1String("data"))
                present = field.width;
        }
        const bool isWrite = m_length->name == QLatin1String("packageDataLength");
        return isWrite && announced > present ? QSet<QString>{QStringLiteral("data")}
                                              : QSet<QString>{};
    }

    const PackageClass &m_class;
    const FormOfVector &m_form;
    MessageShape m_shape;
    const PackageField *m_length = nullptr;
    bool m_hasData = false;
    QSet<QString> m_carried;
};

} // namespace

void writeEdgeCases()
{
    for (const PackageClass &ofClass : packageClasses()) {
        const auto write = [&ofClass](const FormOfVector &form) {
            if (exists({ofClass.id, form.encoding.form, form.encoding.direction}))
                FormCases(ofClass, form).write();
        };
        for (const FormOfVector &form : EncodedForms)
            write(form);
        write(LinuxReply);
    }
}
