#pragma once

#include <QString>

#include <stdexcept>

// Thrown for a hexadecimal colour string of a length no colour form has. Like the
// platform exception it stands for, it has a name ("Invalid color value") and a
// reason naming the string the caller passed.
class InvalidColorValue : public std::invalid_argument
{
public:
    explicit InvalidColorValue(const QString &colorString);

    static QString name() { return QStringLiteral("Invalid color value"); }
    QString reason() const { return m_reason; }

private:
    QString m_reason;
};
