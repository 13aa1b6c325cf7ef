#pragma once

#include <QByteArray>
#include <QHash>
#include <QString>
#include <QStringList>

#include <optional>

// A desktop entry (an application's ".desktop" file): the keys of its "Desktop
// Entry" group that the helper reads, its launch command split into arguments.
//
// Desktop entries are untrusted input (they come from AppImages and from folders any
// program writes to); reading is bounded as KeyFile describes. Values of string keys
// have their escapes resolved (\s \n \t \r \\). Exec follows the quoting of the
// desktop entry rules: arguments separated by spaces, double quotes around an
// argument, and inside them a backslash before ", `, $ or \. An Exec that breaks
// those rules (an unclosed quote) has no arguments at all.
// A plain value; callable from any thread.
class DesktopEntry
{
public:
    static std::optional<DesktopEntry> fromData(const QByteArray &data);
    // The regular file at the path (links followed), read within the bounds.
    static std::optional<DesktopEntry> fromFile(const QString &path);

    // The string value of the key (without a locale); a null string when it is missing.
    QString stringValue(const QString &key) const;
    QString name() const { return stringValue(QStringLiteral("Name")); }
    QString icon() const { return stringValue(QStringLiteral("Icon")); }
    QString startupWMClass() const { return stringValue(QStringLiteral("StartupWMClass")); }
    QString tryExec() const { return stringValue(QStringLiteral("TryExec")); }

    QStringList execArguments() const { return m_execArguments; }
    // The program Exec starts, as written (a name looked up in PATH, or a path).
    QString program() const { return m_execArguments.value(0); }
    // Whether the entry starts the file at the path: one of Exec's arguments, or
    // TryExec, is exactly that path.
    bool launches(const QString &path) const;

    static QString unescapeString(QStringView value);
    static QStringList splitExec(QStringView exec);

private:
    explicit DesktopEntry(QHash<QString, QString> keys);

    QHash<QString, QString> m_keys;
    QStringList m_execArguments;
};
