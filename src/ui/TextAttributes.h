#pragma once

#include "ParagraphStyle.h"

#include <QColor>
#include <QFont>
#include <QMap>
#include <QUrl>

#include <optional>
#include <variant>

// The attributes of a run of attributed text: a map from attribute key to value,
// each key at most once. An implicitly shared value type; any thread (fonts are only looked at, never
// resolved, so no GUI application is needed to build or compare them).
class TextAttributes
{
public:
    enum class Key { font, foregroundColor, backgroundColor, paragraphStyle, link, cursor };
    static constexpr int kKeyCount = 6;
    static_assert(int(Key::cursor) + 1 == kKeyCount);
    // QColor first: a default-made value must not need the GUI font machinery.
    using Value = std::variant<QColor, QFont, ParagraphStyle, QUrl, Qt::CursorShape>;

    bool isEmpty() const { return m_values.isEmpty(); }
    bool contains(Key key) const { return m_values.contains(key); }
    const QMap<Key, Value> &values() const { return m_values; }

    // Replaces the value of one key. The value's type must be the key's
    // (a QColor for either colour, a QFont for the font...).
    void set(Key key, const Value &value);
    void remove(Key key) { m_values.remove(key); }
    // These attributes with every key of the other replaced by its value.
    TextAttributes mergedWith(const TextAttributes &other) const;

    std::optional<QFont> font() const { return get<QFont>(Key::font); }
    std::optional<QColor> foregroundColor() const { return get<QColor>(Key::foregroundColor); }
    std::optional<QColor> backgroundColor() const { return get<QColor>(Key::backgroundColor); }
    std::optional<ParagraphStyle> paragraphStyle() const { return get<ParagraphStyle>(Key::paragraphStyle); }
    std::optional<QUrl> link() const { return get<QUrl>(Key::link); }
    std::optional<Qt::CursorShape> cursor() const { return get<Qt::CursorShape>(Key::cursor); }

    TextAttributes &setFont(const QFont &font) { return with(Key::font, font); }
    TextAttributes &setForegroundColor(const QColor &color) { return with(Key::foregroundColor, color); }
    TextAttributes &setBackgroundColor(const QColor &color) { return with(Key::backgroundColor, color); }
    TextAttributes &setParagraphStyle(const ParagraphStyle &style) { return with(Key::paragraphStyle, style); }
    TextAttributes &setLink(const QUrl &link) { return with(Key::link, link); }
    TextAttributes &setCursor(Qt::CursorShape cursor) { return with(Key::cursor, cursor); }

    friend bool operator==(const TextAttributes &, const TextAttributes &) = default;

private:
    template<typename T>
    std::optional<T> get(Key key) const
    {
        const auto found = m_values.constFind(key);
        if (found == m_values.cend())
            return std::nullopt;
        if (const T *value = std::get_if<T>(&found.value()))
            return *value;
        return std::nullopt;
    }
    TextAttributes &with(Key key, const Value &value)
    {
        set(key, value);
        return *this;
    }

    QMap<Key, Value> m_values; // implicitly shared: copies are cheap
};
