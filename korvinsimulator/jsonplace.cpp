#include "jsonplace_p.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QSet>
#include <QtCore/QStringList>

#include <string_view>
#include <vector>

namespace KorvinSimulator {

namespace {

bool isMark(char character)
{
    return std::string_view("{}[]:,").find(character) != std::string_view::npos;
}

bool isBlank(char character)
{
    return std::string_view(" \t\r\n").find(character) != std::string_view::npos;
}

/// Moves over a JSON text that is known to be right.
class Cursor
{
public:
    explicit Cursor(const QByteArray &json)
        : m_json(json)
    {
        skipBlanks();
    }

    int position() const { return m_position; }
    bool atEnd() const { return m_position >= m_json.size(); }
    char current() const { return m_json.at(m_position); }

    void skip()
    {
        ++m_position;
        skipBlanks();
    }

    /// Moves past a text in quotation marks and returns it.
    QString takeText()
    {
        const int begin = m_position;
        for (++m_position; current() != '"'; ++m_position)
            m_position += current() == '\\' ? 1 : 0;
        const QByteArray text = m_json.mid(begin, m_position + 1 - begin);
        skip();
        return text.contains('\\')
            ? QJsonDocument::fromJson('[' + text + ']').array().at(0).toString()
            : QString::fromUtf8(text.constData() + 1, static_cast<int>(text.size()) - 2);
    }

    /// Moves past a text, number or word.
    void skipScalar()
    {
        if (current() == '"') {
            takeText();
            return;
        }
        while (!isMark(current()) && !isBlank(current()))
            ++m_position;
        skipBlanks();
    }

    /// Moves past a value.
    void skipValue()
    {
        int depth = 0;
        do {
            const char first = current();
            if (first == '{' || first == '[')
                ++depth;
            else if (first == '}' || first == ']')
                --depth;
            if (isMark(first))
                skip();
            else
                skipScalar();
        } while (depth > 0);
    }

private:
    void skipBlanks()
    {
        while (!atEnd() && isBlank(current()))
            ++m_position;
    }

    QByteArray m_json;
    int m_position = 0;
};

/// Moves to the value of a member; returns false if there is no such member.
bool enterMember(Cursor *cursor, const QString &name)
{
    for (cursor->skip(); cursor->current() == '"';) {
        const bool isIt = cursor->takeText() == name;
        cursor->skip(); // the colon
        if (isIt)
            return true;
        cursor->skipValue();
        if (cursor->current() == ',')
            cursor->skip();
    }
    return false;
}

/// Moves to an item, counted from 1, that the list has; returns false for 0.
bool enterItem(Cursor *cursor, int number)
{
    cursor->skip();
    for (int i = 1; i < number; ++i) {
        cursor->skipValue();
        cursor->skip(); // the comma
    }
    return number > 0;
}

} // namespace

QString lineAndColumn(const QByteArray &json, int position)
{
    const QByteArray before = json.left(position);
    return QStringLiteral("%1:%2")
        .arg(before.count('\n') + 1)
        .arg(position - before.lastIndexOf('\n'));
}

QString placeOf(const QByteArray &json, const QString &message)
{
    Cursor cursor(json);
    for (const QString &step : message.split(QStringLiteral(": "))) {
        Cursor inside = cursor;
        const bool isInside = cursor.current() == '{' ? enterMember(&inside, step)
            : cursor.current() == '['                 ? enterItem(&inside, step.toInt())
                                                      : false;
        if (!isInside)
            break;
        cursor = inside;
    }
    return lineAndColumn(json, cursor.position());
}

QString findDoubledMember(const QByteArray &json)
{
    std::vector<QSet<QString>> names; // of the objects that are open
    for (Cursor cursor(json); !cursor.atEnd();) {
        const char first = cursor.current();
        const int position = cursor.position();
        if (first == '{' || first == '[')
            names.emplace_back();
        else if (first == '}' || first == ']')
            names.pop_back();
        if (first != '"') {
            isMark(first) ? cursor.skip() : cursor.skipScalar();
            continue;
        }
        const QString text = cursor.takeText();
        if (cursor.current() != ':')
            continue;
        if (names.back().contains(text))
            return QStringLiteral("%1: %2: there is a member of this name already")
                .arg(lineAndColumn(json, position), text);
        names.back().insert(text);
    }
    return {};
}

} // namespace KorvinSimulator
