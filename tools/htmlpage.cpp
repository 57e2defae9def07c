#include "htmlpage.h"

#include <korvininspect/hexbytes.h>
#include <korvininspect/inputtext.h>

#include <QtCore/QCryptographicHash>
#include <QtCore/QStringList>

#include <algorithm>

using namespace KorvinInspect;

namespace {

constexpr int MostCells = 4096;     // bytes or characters in the map
constexpr int MostRows = 1024;      // fields in the table
constexpr int MostRawBytes = 32;    // bytes of one field in the table
constexpr int MostCharacters = 200; // characters of one text in the table
constexpr int BytesPerLine = 16;
constexpr int Colors = 8;

// The policy allows only this style and this script, and loads nothing.
const char Page[] = R"(<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta http-equiv="Content-Security-Policy" content="default-src 'none'; style-src '%1'; script-src '%2'">
<meta name="viewport" content="width=device-width, initial-scale=1">
<meta name="color-scheme" content="light dark">
<title>%3</title>
<style>%4</style>
</head>
<body class="%5">
%6
<main>
%7
%8
</main>
<script>%9</script>
</body>
</html>
)";

const char Style[] = R"(
:root {
  --page: #f4f2ec; --card: #fffefb; --ink: #1d1f24; --soft: #5b5f68; --line: #e0ddd3;
  --good: #17633a; --bad: #a3201a; --warn: #834600;
  --mark: #1d1f24; --on-mark: #fffefb; --hover: #ece8dc;
  --saturation: 68%; --lightness: 85%; --vivid: 48%;
}
@media screen and (prefers-color-scheme: dark) {
  :root {
    --page: #13151a; --card: #1a1d23; --ink: #dfddd6; --soft: #a3a9b4; --line: #2c3038;
    --good: #74cf9b; --bad: #ff8f85; --warn: #e9b15f;
    --mark: #ffd978; --on-mark: #13151a; --hover: #2d333e;
    --saturation: 34%; --lightness: 27%; --vivid: 60%;
  }
}
.h0 { --hue: 212; } .h1 { --hue: 34; } .h2 { --hue: 150; } .h3 { --hue: 330; }
.h4 { --hue: 58; } .h5 { --hue: 268; } .h6 { --hue: 185; } .h7 { --hue: 6; }
.o0 { --over: 212; } .o1 { --over: 34; } .o2 { --over: 150; } .o3 { --over: 330; }
.o4 { --over: 58; } .o5 { --over: 268; } .o6 { --over: 185; } .o7 { --over: 6; }

* { box-sizing: border-box; }
body {
  margin: 0; height: 100vh; padding: 20px 24px; display: flex; flex-direction: column; gap: 16px;
  background: var(--page); color: var(--ink);
  font: 14px/1.45 system-ui, "Segoe UI", Roboto, "Helvetica Neue", Arial, sans-serif;
}
h1 { margin: 0; font-size: 20px; font-weight: 600; letter-spacing: -.01em; }
h1::first-letter { text-transform: uppercase; }
p { margin: 0; }
header { display: grid; gap: 4px; }
.verdict { font-weight: 600; overflow-wrap: anywhere; }
.verdict::before { display: inline-block; width: 1.4em; }
.good { color: var(--good); } .good::before { content: "\2713"; }
.bad { color: var(--bad); } .bad::before { content: "\2717"; }
.size, .more, .guess, #status, small { color: var(--soft); }

main { flex: 1; min-height: 0; display: flex; gap: 16px; }
.text main { flex-direction: column; }
section {
  overflow: auto; background: var(--card); border: 1px solid var(--line); border-radius: 10px;
}
.bytes { flex: none; align-self: flex-start; max-height: 100%; padding: 0 16px 16px; }
.text .bytes { align-self: stretch; max-height: 45%; }
.fields { flex: 1; min-width: 0; min-height: 0; }
#status {
  position: sticky; top: 0; z-index: 1; padding: 9px 0; background: var(--card); font-size: 13px;
}
.more { padding: 12px 0 0; }
.fields .more { padding: 12px; }

.map, .raw, .value { font-family: ui-monospace, "DejaVu Sans Mono", Menlo, Consolas, monospace; }
.map { cursor: default; color: var(--soft); }
.frame .map { display: grid; grid-template-columns: auto repeat(16, 29px); row-gap: 4px; }
.map b { padding: 3px 14px 0 0; font-weight: 400; }
.frame .map b:nth-child(-n+17):not(:first-child) { padding: 0; text-align: center; }
.map span { position: relative; }
.frame .map span { height: 38px; padding-top: 3px; text-align: center; }
.frame .map span::after {
  content: attr(data-note); position: absolute; inset: 20px 0 auto; font-size: 11px;
  line-height: 15px; white-space: pre; opacity: .8;
}
.text .map { padding-top: 6px; line-height: 38px; }
.text .map span {
  display: inline-block; height: 24px; line-height: 24px; min-width: 1.1ch; text-align: center;
  white-space: pre;
}
.text .map span::after {
  content: attr(data-note); position: absolute; left: 1px; top: -14px; font-size: 10px;
  line-height: 14px; color: var(--soft);
}
.map [class^=h] {
  background: hsl(var(--hue) var(--saturation) var(--lightness)); color: var(--ink);
}
.map .over { box-shadow: inset 0 -4px hsl(var(--over) var(--saturation) var(--vivid)); }
.map .unread { background: var(--hover); }
.frame .map .start { border-left: 2px solid var(--card); }
.map .fault { box-shadow: inset 0 2px var(--bad), inset 0 -2px var(--bad); }
.map .marked { background: var(--mark); color: var(--on-mark); }
.map .before { box-shadow: -3px 0 var(--mark); }
.map .after { box-shadow: 3px 0 var(--mark); }

table { width: 100%; border-collapse: collapse; }
th {
  position: sticky; top: 0; padding: 9px 10px; font-size: 12px; font-weight: 600;
  color: var(--soft); background: var(--card); box-shadow: inset 0 -1px var(--line);
}
tr { scroll-margin: 44px 0 8px; outline-offset: -2px; }
td { padding: 5px 10px; vertical-align: top; border-bottom: 1px solid var(--line); }
td:first-child { box-shadow: inset 5px 0 hsl(var(--hue, 0) var(--saturation) var(--vivid)); }
.unread td:first-child { box-shadow: inset 5px 0 var(--line); }
th { text-align: left; }
.number { white-space: nowrap; text-align: right; font-variant-numeric: tabular-nums; }
.name { font-weight: 600; }
.raw, .value { font-size: 13px; overflow-wrap: anywhere; white-space: pre-wrap; }
.raw { min-width: 19ch; max-width: 40ch; }
.value { min-width: 18ch; }
small { font-size: 12px; }
.number small { padding-left: 6px; }
.unread .name { font-weight: 400; color: var(--soft); }
.description { min-width: 26ch; font-size: 13px; color: var(--soft); }
.meaning { font-family: system-ui, sans-serif; color: var(--soft); }
.remark { color: var(--warn); }
.remark::before { content: "\26A0\FE0E\00A0"; }
tr.marked td { background: var(--hover); }
tr.fault { outline: 2px solid var(--bad); }
.fault .name { color: var(--bad); }

@media (max-width: 1350px) {
  main { flex-direction: column; }
  .bytes { max-height: 45%; }
}
/* Each field is a card: its name, then what the table has in columns. */
@media screen and (max-width: 700px) {
  body { padding: 10px; height: auto; }
  main { display: block; }
  .bytes, .text .bytes { max-height: 55vh; margin-bottom: 10px; padding: 0 8px 8px; }
  .frame .map { grid-template-columns: auto repeat(16, 1fr); font-size: 12px; }
  .map b { padding-right: 6px; }
  thead { display: none; }
  table, tbody, tr, td { display: block; }
  tr {
    display: flex; flex-direction: column; padding: 8px 10px;
    border-bottom: 1px solid var(--line);
    border-left: 5px solid hsl(var(--hue, 0) var(--saturation) var(--vivid));
  }
  tr.unread { border-left-color: var(--line); }
  td, td:first-child, td.number {
    position: relative; padding: 0 0 0 80px; border: 0; box-shadow: none; text-align: left;
    font-size: 13px;
  }
  td::before { position: absolute; left: 0; color: var(--soft); font: 13px/1.5 system-ui, sans-serif; }
  td:nth-last-child(8)::before { content: "Item"; }
  td:nth-last-child(7)::before { content: "Column"; }
  td:nth-last-child(6)::before { content: "Offset"; }
  td:nth-last-child(5)::before { content: "Width"; }
  td.raw::before { content: "Raw"; }
  td.value::before { content: "Value"; }
  td.name, td.description { padding-left: 0; }
  td.name { order: -1; font-size: 14px; }
  .raw, .value, .description { min-width: 0; max-width: none; }
}
@media print {
  :root {
    --page: white; --card: white; --ink: black; --soft: #333; --line: #999;
    --good: black; --bad: black; --warn: black; --lightness: 90%;
  }
  @page { margin: 12mm; }
  body { display: block; height: auto; padding: 0; font-size: 10px; }
  main { display: block; }
  section { overflow: visible; border: 0; }
  .bytes, .text .bytes { max-height: none; padding: 8px 0; }
  .frame .map { grid-template-columns: auto repeat(16, 1fr); }
  .map span, td:first-child { print-color-adjust: exact; -webkit-print-color-adjust: exact; }
  .map span, tr { break-inside: avoid; }
  th { position: static; }
  td, th, small { padding: 3px 5px; font-size: 10px; }
  .raw, .value, .description { min-width: 0; font-size: 10px; }
  #status { display: none; }
}
)";

const char Script[] = R"(
'use strict';
const either = '[data-at], [data-from]';
const cells = [...document.querySelectorAll('[data-at]')];
const rows = [...document.querySelectorAll('[data-from]')];
const status = document.getElementById('status');
const hint = status.textContent;
let marked = [];

function covers(row, cell) {
  const distance = cell.dataset.at - row.dataset.from;
  return distance >= 0 && distance < row.dataset.width;
}

function mark(elements, kind) {
  for (const element of elements) element.classList.add(kind);
  marked.push(...elements);
}

// A field without bytes still has a position.
function markPlace(row) {
  const next = cells.find(cell => cell.dataset.at - row.dataset.from >= 0);
  if (next) mark([next], 'before');
  else mark(cells.slice(-1), 'after');
}

function markRow(row) {
  const covered = cells.filter(cell => covers(row, cell));
  mark([row], 'marked');
  if (row.dataset.width > 0) mark(covered, 'marked');
  else markPlace(row);
  return covered;
}

function markCell(cell) {
  const covering = rows.filter(row => covers(row, cell));
  mark([cell, ...covering], 'marked');
  return covering;
}

function say(place, names) {
  const offset = Number(place);
  status.textContent = `Offset ${offset} (0x${offset.toString(16).toUpperCase()})`
    + (names.length ? ': ' + names.join(', ') : '');
}

function shownName(row) {
  return row.querySelector('.name').firstChild.textContent;
}

function point(target) {
  for (const element of marked) element.classList.remove('marked', 'before', 'after');
  marked = [];
  status.textContent = hint;
  const found = target.closest(either) || document.activeElement.closest(either);
  if (!found) return;
  const isRow = 'from' in found.dataset;
  const others = isRow ? markRow(found) : markCell(found);
  say(isRow ? found.dataset.from : found.dataset.at, (isRow ? [found] : others).map(shownName));
  if (others.length) others[0].scrollIntoView({block: 'nearest'});
}

document.addEventListener('pointerover', event => point(event.target));
document.addEventListener('focusin', event => point(event.target));
document.addEventListener('focusout', () => point(document.body));
document.documentElement.addEventListener('pointerleave', () => point(document.body));
)";

/// Returns the first @p most units of a text, or one less if that would split a character.
QString beginning(const QString &text, int most)
{
    const bool halves = most < text.size() && text.at(most).isLowSurrogate();
    return text.left(halves ? most - 1 : most);
}

/// Returns a character as HTML, or its number if it is invisible or would reorder text.
QString shown(uint character)
{
    if (!QChar::isPrint(character))
        return QStringLiteral("U+%1").arg(character, 4, 16, QLatin1Char('0')).toUpper();
    const char32_t code = character;
    return QString::fromUcs4(&code, 1).toHtmlEscaped();
}

/// Returns a text as HTML; only the beginning of a long one.
QString shown(const QString &text)
{
    const QString begin = beginning(text, MostCharacters);
    QString html;
    for (const uint character : begin.toUcs4())
        html += shown(character);
    if (begin.size() < text.size())
        html += QStringLiteral(" &hellip; (%1 more)").arg(text.size() - begin.size());
    return html;
}

QString hexDigits(int number, int width)
{
    return QString::number(number, 16).toUpper().rightJustified(width, QLatin1Char('0'));
}

QString counted(qint64 count, const QString &what)
{
    return count == 1 ? QLatin1String("1 ") + what
                      : QStringLiteral("%1 %2s").arg(QString::number(count), what);
}

bool isUnread(const ExplainedField &field)
{
    return field.name.isEmpty();
}

QString colorOf(const QVector<ExplainedField> &fields, int index)
{
    return isUnread(fields.at(index)) ? QStringLiteral("unread")
                                      : QStringLiteral("h%1").arg(index % Colors);
}

/// The first and the last field that cover a byte or character, as indexes; -1 for none.
struct Cover
{
    int first = -1;
    int second = -1;
    bool isStart = false; ///< Whether the first field starts here.
};

QVector<Cover> coversOf(const QVector<ExplainedField> &fields, int size)
{
    QVector<Cover> covers(size);
    for (int i = 0; i < fields.size(); ++i) {
        const int begin = qBound(0, fields.at(i).offset, size);
        const int end = begin + qBound(0, fields.at(i).width, size - begin);
        for (int at = begin; at < end; ++at) {
            Cover &cover = covers[at];
            (cover.first < 0 ? cover.first : cover.second) = i;
            cover.isStart = cover.isStart || (at == begin && cover.first == i);
        }
    }
    return covers;
}

/// Where check() finds its fault: a part of the input, which may be empty.
struct Fault
{
    int begin = -1;
    int end = -1;

    bool covers(int at) const { return at >= begin && at < end; }

    bool isOf(const ExplainedField &field) const
    {
        const bool isEmpty = begin == end || field.width <= 0;
        return isEmpty ? begin >= 0 && field.offset == begin
                       : field.offset < end && begin < qint64(field.offset) + field.width;
    }
};

/// What the page shows of an input.
struct Explained
{
    const QVector<ExplainedField> &fields;
    Fault fault;
};

/// Returns the bytes or characters from @p begin on that are not as they should be.
Fault faultFrom(int begin, int size, const Verdict &verdict, const QVector<ExplainedField> &fields)
{
    if (verdict.refusal == Refusal::TrailingBytes)
        return {begin, size};
    const auto isNamed = [&](const ExplainedField &field) {
        return field.name == verdict.field && field.offset == begin;
    };
    const auto named = std::find_if(fields.begin(), fields.end(), isNamed);
    const int width = named != fields.end() ? qMax(0, named->width) : 1;
    return {begin, qMin(size, begin + width)};
}

/// Returns the place of a refusal. Those that concern a record as a whole have none.
Fault faultOf(const Verdict &verdict, const QVector<ExplainedField> &fields, Form form, int size)
{
    if (verdict.isOk())
        return {};
    if (form != Form::Text)
        return verdict.position >= 0 ? faultFrom(verdict.position, size, verdict, fields) : Fault();
    for (const ExplainedField &field : fields) {
        const bool isThere = field.item == verdict.item && field.column == verdict.position;
        if (isThere && (field.name == verdict.field || isUnread(field)))
            return {field.offset, field.offset + field.width};
    }
    return {};
}

QString classesOf(int at, const Cover &cover, const Explained &explained)
{
    QStringList classes;
    if (cover.first >= 0)
        classes << colorOf(explained.fields, cover.first);
    if (cover.second >= 0)
        classes << QStringLiteral("over o%1").arg(cover.second % Colors);
    if (cover.isStart)
        classes << QStringLiteral("start");
    if (explained.fault.covers(at))
        classes << QStringLiteral("fault");
    return classes.join(QLatin1Char(' '));
}

QString cell(int at, const QString &classes, const QString &note, const QString &text)
{
    return QStringLiteral("<span class=\"%1\" data-at=\"%2\" data-note=\"%3\">%4</span>")
        .arg(classes, QString::number(at), note, text);
}

QString lineHead(const QString &text)
{
    return QStringLiteral("\n<b>%1</b>").arg(text);
}

QString byteMap(const QByteArray &frame, const Explained &explained)
{
    const int size = qMin(frame.size(), MostCells);
    const QVector<Cover> covers = coversOf(explained.fields, size);
    QString map = lineHead({});
    for (int column = 0; column < BytesPerLine; ++column)
        map += QStringLiteral("<b>%1</b>").arg(hexDigits(column, 1));
    for (int at = 0; at < size; ++at) {
        if (at % BytesPerLine == 0)
            map += lineHead(hexDigits(at, 4));
        const auto byte = static_cast<uchar>(frame.at(at));
        const bool isAscii = byte > ' ' && byte < 0x7F;
        map += cell(at, classesOf(at, covers.at(at), explained), isAscii ? shown(byte) : QString(),
                    hexDigits(byte, 2));
    }
    return map;
}

/// Returns the label above the first character of a field.
QString noteOf(const ExplainedField &field)
{
    return field.column < 0 ? QStringLiteral("item %1").arg(field.item)
                            : QString::number(field.column);
}

/// Returns the beginning of a record, with each item of a combination on a line of its own.
QString textMap(const QString &begin, const Explained &explained)
{
    const QVector<Cover> covers = coversOf(explained.fields, begin.size());
    QString map;
    int at = 0;
    for (const uint character : begin.toUcs4()) {
        const Cover &cover = covers.at(at);
        QString note;
        if (cover.isStart)
            note = noteOf(explained.fields.at(cover.first));
        if (cover.isStart && at > 0 && begin.at(at - 1) == QLatin1Char('|'))
            map += QLatin1String("<br>");
        map += cell(at, classesOf(at, cover, explained), note, shown(character));
        at += QChar::requiresSurrogates(character) ? 2 : 1;
    }
    return map;
}

QString element(const char *tag, const char *cssClass, const QString &html)
{
    return QStringLiteral("<%1 class=\"%2\">%3</%1>")
        .arg(QLatin1String(tag), QLatin1String(cssClass), html);
}

QString dataCell(const char *cssClass, const QString &html)
{
    return element("td", cssClass, html);
}

QString rawOf(const ExplainedField &field, Form form)
{
    if (form == Form::Text)
        return shown(textFromUtf8(field.raw));
    const QString begin = hexFromBytes(field.raw.left(MostRawBytes));
    return field.raw.size() > MostRawBytes ? begin + QLatin1String(" &hellip;") : begin;
}

QString valueOf(const ExplainedField &field)
{
    QString value = shown(valueForPeople(field));
    if (field.meaning.isEmpty())
        return value;
    const bool isOne = field.meaning == QLatin1String("bytes") && field.value.toLongLong() == 1;
    const QString meaning = isOne ? QStringLiteral("byte") : shown(field.meaning);
    return value + QLatin1Char(' ') + element("span", "meaning", meaning);
}

QString descriptionOf(const ExplainedField &field)
{
    QString html = shown(field.description);
    for (const QString &remark : field.remarks)
        html += element("div", "remark", shown(remark));
    return html;
}

QString shownName(const ExplainedField &field)
{
    return isUnread(field) ? QStringLiteral("not read") : shown(field.name);
}

QString offsetOf(const ExplainedField &field)
{
    return QString::number(field.offset)
        + QStringLiteral("<small>0x%1</small>").arg(hexDigits(field.offset, 2));
}

/// The optional columns that a table has.
struct TableColumns
{
    bool item = false;
    bool column = false;
};

QString row(const Explained &explained, int index, Form form, TableColumns columns)
{
    const ExplainedField &field = explained.fields.at(index);
    QString classes = colorOf(explained.fields, index);
    if (explained.fault.isOf(field))
        classes += QLatin1String(" fault");
    QString html =
        QStringLiteral("\n<tr class=\"%1\" tabindex=\"0\" data-from=\"%2\" data-width=\"%3\">")
            .arg(classes, QString::number(field.offset), QString::number(field.width));
    if (columns.item)
        html += dataCell("number", QString::number(field.item));
    if (columns.column)
        html += dataCell("number", field.column < 0 ? QString() : QString::number(field.column));
    return html + dataCell("number", offsetOf(field))
        + dataCell("number", QString::number(field.width)) + dataCell("name", shownName(field))
        + dataCell("raw", rawOf(field, form)) + dataCell("value", valueOf(field))
        + dataCell("description", descriptionOf(field)) + QLatin1String("</tr>");
}

QString headCells(const char *cssClass, const QStringList &titles)
{
    QString html;
    for (const QString &title : titles)
        html += element("th", cssClass, title);
    return html;
}

QString tableHead(TableColumns columns)
{
    QStringList numbers{QStringLiteral("Offset"), QStringLiteral("Width")};
    if (columns.column)
        numbers.prepend(QStringLiteral("Column"));
    if (columns.item)
        numbers.prepend(QStringLiteral("Item"));
    return QLatin1String("<thead><tr>") + headCells("number", numbers)
        + headCells("words",
                    {QStringLiteral("Field"), QStringLiteral("Raw"), QStringLiteral("Value"),
                     QStringLiteral("Description")})
        + QLatin1String("</tr></thead>");
}

QString more(qint64 count, const QString &what)
{
    if (count <= 0)
        return {};
    return element("p", "more",
                   counted(count, what) + QLatin1String(count == 1 ? " follows" : " follow"));
}

QString fieldTable(const Explained &explained, Form form)
{
    const QVector<ExplainedField> &fields = explained.fields;
    const bool hasItems = !fields.isEmpty() && fields.first().item > 0;
    const TableColumns columns{hasItems, form == Form::Text};
    const int rows = qMin(fields.size(), MostRows);
    QString html = QLatin1String("<table>") + tableHead(columns) + QLatin1String("<tbody>");
    for (int i = 0; i < rows; ++i)
        html += row(explained, i, form, columns);
    return html + QLatin1String("\n</tbody></table>")
        + more(fields.size() - rows, QStringLiteral("field"));
}

/// The map of a frame or record.
struct Map
{
    QString html;
    QString unit;    ///< "byte" or "character": what a cell shows.
    qint64 size = 0; ///< Number of units of the whole input.
    qint64 shown = 0;
};

Map mapOf(const QByteArray &input, const Explained &explained, Form form)
{
    if (form != Form::Text)
        return {byteMap(input, explained), QStringLiteral("byte"), input.size(),
                qMin<qint64>(input.size(), MostCells)};
    const QString record = textFromUtf8(input);
    const QString begin = beginning(record, MostCells);
    return {textMap(begin, explained), QStringLiteral("character"), record.size(), begin.size()};
}

/// @param guess says why the input may have its shape; empty where the shape is known.
QString header(const QString &title, const Verdict &verdict, const QString &guess,
               const QString &sizes)
{
    QString html = QStringLiteral("<header><h1>%1</h1>").arg(title);
    html += element("p", verdict.isOk() ? "verdict good" : "verdict bad", shown(describe(verdict)));
    if (!guess.isEmpty()) {
        const QString reason =
            verdict.isOk() ? shown(guess) : QStringLiteral("it disagrees least with the input");
        html += element("p", "guess",
                        QLatin1String("Class, form and direction are guessed: ") + reason);
    }
    return html + element("p", "size", sizes) + QLatin1String("</header>");
}

/// Returns the hash by which a Content-Security-Policy allows @p source.
QString hashOf(const char *source)
{
    const QByteArray hash = QCryptographicHash::hash(source, QCryptographicHash::Sha256);
    return QLatin1String("sha256-") + QString::fromLatin1(hash.toBase64());
}

} // namespace

QByteArray htmlPage(const QByteArray &input, const MessageShape &shape,
                    const QVector<ExplainedField> &fields, const Verdict &verdict,
                    const QString &guess)
{
    const QString title = shown(describe(shape));
    const auto size =
        static_cast<int>(shape.form == Form::Text ? textFromUtf8(input).size() : input.size());
    const Explained explained{fields, faultOf(verdict, fields, shape.form, size)};
    const Map map = mapOf(input, explained, shape.form);
    const QString hint =
        QStringLiteral("<p id=\"status\">Point at a %1 or a field.</p>").arg(map.unit);
    const QString bytes =
        hint + element("div", "map", map.html) + more(map.size - map.shown, map.unit);
    const QString sizes = counted(map.size, map.unit) + QLatin1String(" &middot; ")
        + counted(fields.size(), QStringLiteral("field"));
    return QString::fromLatin1(Page)
        .arg(hashOf(Style), hashOf(Script), title, QLatin1String(Style),
             shape.form == Form::Text ? QStringLiteral("text") : QStringLiteral("frame"),
             header(title, verdict, guess, sizes), element("section", "bytes", bytes),
             element("section", "fields", fieldTable(explained, shape.form)), QLatin1String(Script))
        .toUtf8();
}
