// The HTML page of explained frames and records. The last test writes the pages that
// htmlpage_test.py opens.

#include "testsupport.h"

#include <htmlpage.h>

#include <QtCore/QCryptographicHash>
#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QRegularExpression>

#include <limits>

namespace {

const MessageShape ReadRequest{ClassId::PackageRequestReadData, Form::Frame, Direction::Request};
const MessageShape FileReply{ClassId::PackageRequestReadFile, Form::Frame, Direction::Reply};
const MessageShape WriteRequest{ClassId::PackageRequestWriteData, Form::Frame, Direction::Request};
const MessageShape Record{ClassId::PackageRequestWriteData, Form::Text, Direction::Request};
const MessageShape Combination{ClassId::PackageRequestCombination, Form::Text, Direction::Request};

const char Hostile[] = "\"><script>window.pwned=1</script><img src=x onerror='pwned=1'>&amp;";

QByteArray hostileRecord()
{
    return QByteArray("7,usb0,1,0,255,2,65535,2560,16,0,write,3000,") + Hostile
        + "\x01\xE2\x80\xAE\xF0\x9F\x98\x80,ok,ok,false,data,3,1/255/16";
}

QByteArray hostileFrame()
{
    const QByteArray tag = Hostile;
    return hex("00 04 00 75 73 62 30") + char(tag.size()) + char(0) + tag
        + hex("B8 0B 00 00 07 00 00 FF 01 02 FF FF 00 00 10 00 00 0A 03 00 00 00 00 03 00 00 00 "
              "41 FF 10");
}

QByteArray largeFrame()
{
    return hex("00 00 00 00 00 00 00 00 00 07 00 00 FF 01 02 FF FF 01 00 10 00 00 0A 00 00 00 "
               "00 01 00")
        + QByteArray(65536, '<');
}

// Its reader reads the bytes after the size of the file name twice.
QByteArray overlappingFrame()
{
    return hex(
        "01 05 00 75 73 62 2F 30 04 00 74 C3 A9 67 44 33 22 11 66 55 77 88 99 AA CC BB 00 DD "
        "1F 0E 3C 2D 78 56 34 12 01 08 00 61 2F C3 BC 2E 74 78 74 4B 00 03 00 FA 00 78 56 34 "
        "12 01 08 00 61 2F C3 BC 2E 74 78 74");
}

struct Sample
{
    const char *name;
    QByteArray input;
    MessageShape shape;
};

std::vector<Sample> samples()
{
    return {
        {"request", hostileFrame(), ReadRequest},
        {"overlap", overlappingFrame(), FileReply},
        {"short", hex("01 05 00 75 73"), ReadRequest},
        {"large", largeFrame(), WriteRequest},
        {"record", hostileRecord(), Record},
        {"combination",
         "writeData^7,,1,0,255,2,65535,2560,16,0,write,3000,,ok,ok,false,data,3,1/255/16|"
         "ReadData^8,usb0,1,0,255,2,65535,2560,x,0,read,3000,tag,ok,ok,17,data|other",
         Combination},
        {"empty", {}, ReadRequest},
    };
}

QString pageOf(const Sample &sample)
{
    return QString::fromUtf8(htmlPage(sample.input, sample.shape,
                                      explain(sample.input, sample.shape),
                                      check(sample.input, sample.shape)));
}

/// A cell of the map or a row of the table, with its classes and numbers as the page has them.
struct Element
{
    QStringList classes;
    int offset;
    int width;
    QString html; ///< Of a cell.
};

QVector<Element> elements(const QString &page, const char *pattern)
{
    QVector<Element> found;
    auto matches = QRegularExpression(QLatin1String(pattern)).globalMatch(page);
    while (matches.hasNext()) {
        const QRegularExpressionMatch match = matches.next();
        found.append({match.captured(1).split(QLatin1Char(' ')), match.captured(2).toInt(),
                      match.captured(3).toInt(), match.captured(4)});
    }
    return found;
}

QVector<Element> cells(const QString &page)
{
    return elements(page,
                    "<span class=\"([^\"]*)\" data-at=\"(\\d+)\" data-note=\"([^\"]*)\">"
                    "([^<]*)</span>");
}

QVector<Element> rows(const QString &page)
{
    return elements(page,
                    "<tr class=\"([^\"]*)\" tabindex=\"0\" data-from=\"(-?\\d+)\" "
                    "data-width=\"(-?\\d+)\">");
}

bool covers(const Element &row, int offset)
{
    return offset >= row.offset && offset - row.offset < row.width;
}

TEST(HtmlPage, HasEveryByteOnce)
{
    QByteArray frame;
    for (int i = 0; i < 600; ++i)
        frame.append(static_cast<char>(i * 7));
    QByteArray shown;
    for (const Element &cell : cells(pageOf({"", frame, ReadRequest}))) {
        EXPECT_EQ(cell.offset, shown.size());
        EXPECT_EQ(cell.html.size(), 2);
        shown += QByteArray::fromHex(cell.html.toLatin1());
    }
    EXPECT_EQ(shown, frame);
}

TEST(HtmlPage, HasEveryCharacterOnce)
{
    const QString record = QStringLiteral(u"7,\u20AC \u00E9,,\U0001F600\U0001F601,&<>\"'|^\u4E2D");
    const QString page = pageOf({"", record.toUtf8(), Record});
    QString shown;
    for (const Element &cell : cells(page)) {
        EXPECT_EQ(cell.offset, shown.size());
        QString text = cell.html;
        text.replace(QLatin1String("&lt;"), QLatin1String("<"))
            .replace(QLatin1String("&gt;"), QLatin1String(">"))
            .replace(QLatin1String("&quot;"), QLatin1String("\""))
            .replace(QLatin1String("&amp;"), QLatin1String("&"));
        shown += text;
    }
    EXPECT_EQ(shown, record);
}

TEST(HtmlPage, HasARowForEachField)
{
    for (const Sample &sample : samples()) {
        SCOPED_TRACE(sample.name);
        const QVector<ExplainedField> fields = explain(sample.input, sample.shape);
        const QVector<Element> found = rows(pageOf(sample));
        ASSERT_EQ(found.size(), fields.size());
        for (int i = 0; i < fields.size(); ++i) {
            EXPECT_EQ(found.at(i).offset, fields.at(i).offset);
            EXPECT_EQ(found.at(i).width, fields.at(i).width);
        }
    }
}

TEST(HtmlPage, CellsHaveTheColoursOfTheirRows)
{
    int overlaps = 0;
    for (const Sample &sample : samples()) {
        SCOPED_TRACE(sample.name);
        const QString page = pageOf(sample);
        const QVector<Element> table = rows(page);
        for (const Element &cell : cells(page)) {
            QVector<Element> covering;
            std::copy_if(table.begin(), table.end(), std::back_inserter(covering),
                         [&](const Element &row) { return covers(row, cell.offset); });
            const QString color = covering.isEmpty() ? QString() : covering.first().classes.first();
            EXPECT_EQ(cell.classes.first(), color) << cell.offset;
            EXPECT_EQ(cell.classes.contains(QLatin1String("over")), covering.size() > 1);
            EXPECT_EQ(cell.classes.contains(QLatin1String("start")),
                      !covering.isEmpty() && covering.first().offset == cell.offset);
            overlaps += covering.size() > 1 ? 1 : 0;
        }
    }
    EXPECT_GT(overlaps, 0);
}

TEST(HtmlPage, ShowsWhatIsKnownOfAField)
{
    const QString page = pageOf({"", overlappingFrame(), FileReply});
    EXPECT_TRUE(page.contains(QLatin1String("<title>reply frame of PackageRequestReadFile<")));
    EXPECT_TRUE(page.contains(
        QLatin1String(R"(<td class="number">3<small>0x03</small></td><td class="number">5</td>)"
                      R"(<td class="name">deviceKey</td><td class="raw">75 73 62 2F 30</td>)"
                      R"(<td class="value">&quot;usb/0&quot;</td>)"
                      R"(<td class="description">key of the device or connection</td></tr>)")));
    EXPECT_TRUE(page.contains(
        QLatin1String(R"(<td class="value">5 <span class="meaning">bytes</span></td>)")));
    EXPECT_TRUE(page.contains(
        QLatin1String(R"(<div class="remark">an encoder writes ackCode here</div>)")));
    EXPECT_FALSE(page.contains(QLatin1String(">Item</th>")));
    EXPECT_FALSE(page.contains(QLatin1String(">Column</th>")));
}

TEST(HtmlPage, ShowsWhatIsNotRead)
{
    const QString page = pageOf({"", hostileFrame() + "xyz", ReadRequest});
    EXPECT_TRUE(page.contains(
        QLatin1String(R"(<td class="name">not read</td><td class="raw">78 79 7A</td>)"
                      R"(<td class="value"></td>)"
                      R"(<td class="description"><div class="remark">not read</div></td>)")));
    EXPECT_EQ(rows(page).last().classes.first(), QStringLiteral("unread"));
}

TEST(HtmlPage, NumbersItemsAndColumns)
{
    const QString page =
        pageOf({"", "ReadData^7,key,1|ReadFile^8", Combination}).remove(QLatin1Char('\n'));
    EXPECT_TRUE(page.contains(QLatin1String(
        R"(<th class="number">Item</th><th class="number">Column</th><th class="number">Offset<)")));
    EXPECT_TRUE(page.contains(QLatin1String(
        R"(data-from="11" data-width="3"><td class="number">1</td><td class="number">1</td>)")));
    EXPECT_TRUE(page.contains(QLatin1String(
        R"(data-from="17" data-width="8"><td class="number">2</td><td class="number"></td>)")));
    EXPECT_TRUE(page.contains(QLatin1String(
        R"(|</span><br><span class="h4 start" data-at="17" data-note="item 2">R</span>)")));
    EXPECT_TRUE(page.contains(QLatin1String(R"(data-at="11" data-note="1">k</span>)")));
}

TEST(HtmlPage, SaysTheVerdict)
{
    const QString good = pageOf({"", hostileFrame(), ReadRequest});
    EXPECT_TRUE(good.contains(QLatin1String("<p class=\"verdict good\">")));
    const Sample refused{"", hex("00 05 00 75 73"), ReadRequest};
    const QString verdict = describe(check(refused.input, refused.shape));
    EXPECT_TRUE(
        pageOf(refused).contains(QStringLiteral("<p class=\"verdict bad\">%1</p>").arg(verdict)));
}

TEST(HtmlPage, SaysThatItGuessed)
{
    const QByteArray good = hex("00 05 00 00 01 00");
    const MessageShape shape{ClassId::PackageBase, Form::Frame, Direction::Reply};
    const auto pageWith = [&](const QByteArray &input, const QString &guess) {
        return QString::fromUtf8(
            htmlPage(input, shape, explain(input, shape), check(input, shape), guess));
    };
    EXPECT_TRUE(
        pageWith(good, QStringLiteral("fits to <the> last byte"))
            .contains(QLatin1String("<p class=\"guess\">Class, form and direction are guessed: "
                                    "fits to &lt;the&gt; last byte</p>")));
    EXPECT_TRUE(pageWith(good + 'x', QStringLiteral("trailing"))
                    .contains(QLatin1String("are guessed: it disagrees least with the input</p>")));
    EXPECT_FALSE(pageWith(good, {}).contains(QLatin1String("<p class=\"guess\">")));
}

TEST(HtmlPage, MarksTheFault)
{
    struct Row
    {
        const char *what;
        QByteArray input;
        MessageShape shape;
        QVector<int> cells; ///< First and last one that is marked.
        int rows;
    };
    const MessageShape shortReply{ClassId::PackageBase, Form::Frame, Direction::Reply};
    const Row table[] = {
        {"nothing", hex("00 05 00 00 01 00"), shortReply, {}, 0},
        {"a code", hex("00 05 00 00 09 00"), shortReply, {4}, 1},
        {"trailing bytes", hex("00 05 00 00 01 00 41 42"), shortReply, {6, 7}, 1},
        {"data that is cut",
         hostileFrame() + hex("01 02"),
         ReadRequest,
         {static_cast<int>(hostileFrame().size()), static_cast<int>(hostileFrame().size()) + 1},
         1},
        {"a field without bytes", hex("00 05 00 00 01"), shortReply, {}, 1},
        {"a column",
         "7,usb0,1,0,255,x,65535,2560,16,0,write,3000,,ok,ok,false,data,3,1/255/16",
         Record,
         {15},
         1},
        {"a word of an item",
         "ReadData^7,,1,0,255,2,65535,2560,16,0,read,3000,,ok,Ok,17,data",
         Combination,
         {52, 53},
         1},
        {"too few columns", "7,usb0", Record, {}, 0},
    };
    for (const Row &row : table) {
        SCOPED_TRACE(row.what);
        const QString page = pageOf({"", row.input, row.shape});
        QVector<int> marked;
        for (const Element &cell : cells(page)) {
            if (cell.classes.contains(QLatin1String("fault")))
                marked << cell.offset;
        }
        if (marked.size() > 1)
            marked = {marked.first(), marked.last()};
        EXPECT_EQ(marked, row.cells);
        const QVector<Element> fields = rows(page);
        EXPECT_EQ(std::count_if(fields.begin(), fields.end(),
                                [](const Element &element) {
                                    return element.classes.contains(QLatin1String("fault"));
                                }),
                  row.rows);
    }
}

TEST(HtmlPage, CountsOneByteAsOne)
{
    const QString page = pageOf({"",
                                 hex("00 05 00 00 01 00 01 00 00 00 41"),
                                 {ClassId::PackageRequestReadData, Form::Frame, Direction::Reply}});
    EXPECT_TRUE(page.contains(
        QLatin1String(R"(<td class="value">1 <span class="meaning">byte</span></td>)")));
    EXPECT_TRUE(pageOf({"", "x", ReadRequest}).contains(QLatin1String(">1 byte &middot; ")));
}

TEST(HtmlPage, MakesNoMarkupOfTheInput)
{
    for (const Sample &sample : samples()) {
        SCOPED_TRACE(sample.name);
        const QString page = pageOf(sample);
        EXPECT_EQ(page.count(QLatin1String("<script"), Qt::CaseInsensitive), 1);
        EXPECT_EQ(page.count(QLatin1String("<style"), Qt::CaseInsensitive), 1);
        EXPECT_EQ(page.count(QLatin1String("<img"), Qt::CaseInsensitive), 0);
        EXPECT_FALSE(page.contains(QLatin1String("&amp;amp;amp;")));
        EXPECT_FALSE(page.contains(QChar(0x202E)));
        EXPECT_FALSE(page.contains(QChar(1)));
    }
    const QString page = pageOf({"", hostileRecord(), Record});
    EXPECT_TRUE(page.contains(QLatin1String("&quot;&gt;&lt;script&gt;window.pwned=1&lt;/script")));
    EXPECT_TRUE(page.contains(QLatin1String("&amp;amp;")));
    EXPECT_TRUE(page.contains(QStringLiteral(u"U+0001U+202E\U0001F600")));
}

TEST(HtmlPage, MakesNoMarkupOfFieldsAndVerdicts)
{
    const QString hostile = QString::fromUtf8(Hostile);
    ExplainedField field;
    field.name = field.meaning = field.description = hostile;
    field.value = hostile;
    field.raw = Hostile;
    field.remarks << hostile;
    Verdict verdict;
    verdict.refusal = Refusal::UnknownName;
    verdict.field = verdict.expected = verdict.found = hostile;
    for (const MessageShape &shape : {Record, ReadRequest}) {
        const QByteArray page = htmlPage("x", shape, {field}, verdict);
        EXPECT_EQ(page.count("<script"), 1);
        EXPECT_EQ(page.count("<img"), 0);
        EXPECT_GE(page.count("&lt;img src=x onerror="), 6);
    }
}

TEST(HtmlPage, TakesFieldsThatLieOutsideTheInput)
{
    using Limits = std::numeric_limits<int>;
    QVector<ExplainedField> fields;
    for (const int offset : {Limits::min(), -1, 0, 2, 3, Limits::max()}) {
        for (const int width : {Limits::min(), -1, 0, 1, Limits::max()}) {
            ExplainedField field;
            field.offset = offset;
            field.width = width;
            fields.append(field);
        }
    }
    for (const MessageShape &shape : {Record, ReadRequest}) {
        const QString page = QString::fromUtf8(htmlPage("abc", shape, fields, {}));
        EXPECT_EQ(cells(page).size(), 3);
        EXPECT_EQ(rows(page).size(), 30);
    }
}

TEST(HtmlPage, ShowsTheBeginningOfLargeInput)
{
    const QString frame = pageOf({"", largeFrame(), WriteRequest});
    EXPECT_EQ(cells(frame).size(), 4096);
    EXPECT_TRUE(frame.contains(QLatin1String("<p class=\"more\">61469 bytes follow</p>")));
    EXPECT_TRUE(frame.contains(QLatin1String(" 3C 3C &hellip;</td>")));
    EXPECT_LT(frame.size(), 600 * 1000);

    const QString text = pageOf({"", QByteArray(4097, '&'), Record});
    EXPECT_EQ(cells(text).size(), 4096);
    EXPECT_TRUE(text.contains(QLatin1String("<p class=\"more\">1 character follows</p>")));
    EXPECT_TRUE(text.contains(QLatin1String("&amp; &hellip; (3897 more)")));

    const QString fields = pageOf({"", QByteArray(200000, ','), Record});
    EXPECT_EQ(rows(fields).size(), 1024);
    EXPECT_TRUE(fields.contains(QLatin1String("<p class=\"more\">198977 fields follow</p>")));
    EXPECT_LT(fields.size(), 1000 * 1000);
}

TEST(HtmlPage, HalvesNoCharacterWhereItEnds)
{
    const QByteArray face = "\xF0\x9F\x98\x80";
    const QString page = pageOf({"", QByteArray(4095, 'x') + face + face, Record});
    EXPECT_EQ(cells(page).size(), 4095);
    EXPECT_TRUE(page.contains(QLatin1String("<p class=\"more\">4 characters follow</p>")));
    const QString whole = pageOf({"", QByteArray(4094, 'x') + face, Record});
    EXPECT_EQ(cells(whole).size(), 4095);
    EXPECT_FALSE(whole.contains(QLatin1String("<p class=\"more\">")));
}

TEST(HtmlPage, ShowsInputOfAShapeThatDoesNotExist)
{
    const MessageShape shape{ClassId::PackageRequestCombination, Form::Frame, Direction::Reply};
    const QString page = pageOf({"", hex("01 02"), shape});
    EXPECT_EQ(cells(page).size(), 2);
    EXPECT_TRUE(rows(page).isEmpty());
    EXPECT_TRUE(page.contains(QLatin1String("<p class=\"verdict bad\">")));
}

TEST(HtmlPage, AllowsItsOwnStyleAndScriptOnly)
{
    const QString page = pageOf({"", hostileFrame(), ReadRequest});
    for (const char *tag : {"style", "script"}) {
        const QRegularExpression pattern(QStringLiteral("<%1>(.*)</%1>").arg(QLatin1String(tag)),
                                         QRegularExpression::DotMatchesEverythingOption);
        const QByteArray source = pattern.match(page).captured(1).toUtf8();
        ASSERT_FALSE(source.isEmpty());
        const QByteArray hash = QCryptographicHash::hash(source, QCryptographicHash::Sha256);
        EXPECT_TRUE(
            page.contains(QStringLiteral("%1-src 'sha256-%2'")
                              .arg(QLatin1String(tag), QString::fromLatin1(hash.toBase64()))));
    }
    EXPECT_TRUE(page.contains(QLatin1String("content=\"default-src 'none';")));
    EXPECT_FALSE(page.contains(QRegularExpression(QStringLiteral("https?:|url\\(|@import"))));
}

void write(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly)) << path.toStdString();
    ASSERT_EQ(file.write(bytes), bytes.size());
}

TEST(HtmlPage, WritesPagesForTheBrowser)
{
    const QDir folder(QStringLiteral(PAGES_DIR));
    ASSERT_TRUE(folder.mkpath(QStringLiteral(".")));
    for (const Sample &sample : samples()) {
        const QString path = folder.filePath(QLatin1String(sample.name));
        write(path + QLatin1String(".html"), pageOf(sample).toUtf8());
        write(path + QLatin1String(".json"),
              QJsonDocument(explanationToJson(explain(sample.input, sample.shape))).toJson());
    }
}

} // namespace
