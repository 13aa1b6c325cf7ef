#pragma once

#include <QMap>
#include <QString>
#include <QStringView>

#include <optional>

// One tag of the markup: its name and its attributes (name to value). A value type.
struct Tag
{
    QString name;
    QMap<QString, QString> attributes;

    // Reads the text between "<" (or "</") and ">": a name of letters and digits,
    // then attributes written name="value" (white space between tokens is skipped,
    // "&quot;" in a value stands for a double quote). Nothing when there is no name.
    // Attribute reading stops at the first malformed one, keeping those before it.
    static std::optional<Tag> parse(QStringView tagText);

    friend bool operator==(const Tag &, const Tag &) = default;
};
