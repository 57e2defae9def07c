#ifndef JSONTEXT_P_H
#define JSONTEXT_P_H

#include <QtCore/QByteArray>
#include <QtCore/QString>

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <string>

namespace KorvinInspect {

/// Writes JSON as QJsonDocument writes it in its compact format, byte for byte, without values
/// that are built first.
class JsonText
{
public:
    QByteArray take() const { return QByteArray::fromStdString(m_json); }

    void raw(char character) { m_json += character; }
    void raw(const char *literal) { m_json += literal; }

    void number(qint64 value) { digits(value); }
    void number(quint64 value) { digits(value); }

    void text(QStringView text)
    {
        m_json += '"';
        for (auto at = text.begin();; ++at) {
            const auto plain = at;
            at = std::find_if_not(at, text.end(), isPlain);
            append(plain, at);
            if (at == text.end())
                break;
            if (at->unicode() < 0x80)
                escaped(static_cast<char>(at->unicode()));
            else
                at = other(at, text.end());
        }
        m_json += '"';
    }

private:
    using Iterator = QStringView::const_iterator;

    static bool isPlain(QChar character)
    {
        const ushort unit = character.unicode();
        return unit >= 0x20 && unit < 0x80 && unit != '"' && unit != '\\';
    }

    void append(Iterator begin, Iterator end)
    {
        const auto size = m_json.size();
        m_json.resize(size + static_cast<std::size_t>(end - begin));
        std::transform(begin, end, m_json.begin() + static_cast<std::ptrdiff_t>(size),
                       [](QChar character) { return static_cast<char>(character.unicode()); });
    }

    template <typename Integer>
    void digits(Integer value)
    {
        char text[20]; // of the largest number of 64 bits, or the smallest with its sign
        const std::to_chars_result end = std::to_chars(text, text + sizeof text, value);
        m_json.append(text, end.ptr);
    }

    void escaped(char character)
    {
        static constexpr char Escapes[][2] = {
            {'"', '"'},  {'\\', '\\'}, {'\b', 'b'}, {'\f', 'f'},
            {'\n', 'n'}, {'\r', 'r'},  {'\t', 't'},
        };
        for (const auto &[escapedCharacter, letter] : Escapes) {
            if (character == escapedCharacter) {
                m_json += '\\';
                m_json += letter;
                return;
            }
        }
        hexadecimal(static_cast<ushort>(character));
    }

    void hexadecimal(ushort unit)
    {
        m_json += "\\u";
        for (int shift = 12; shift >= 0; shift -= 4)
            m_json += "0123456789abcdef"[unit >> shift & 0xF];
    }

    /// Writes a character beyond ASCII in UTF-8, half a surrogate pair as an escape.
    ///
    /// @return its last unit.
    Iterator other(Iterator at, Iterator end)
    {
        if (!at->isSurrogate()) {
            m_json += QString(*at).toUtf8().toStdString();
            return at;
        }
        if (at->isHighSurrogate() && at + 1 != end && (at + 1)->isLowSurrogate()) {
            m_json += QString(at, 2).toUtf8().toStdString();
            return at + 1;
        }
        hexadecimal(at->unicode());
        return at;
    }

    std::string m_json;
};

} // namespace KorvinInspect

#endif
