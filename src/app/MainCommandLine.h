#pragma once

#include <QString>
#include <QStringList>

// The main application's command line:
//
//     tarnwick [--home DIR] FILE.trfortw     open a watcher message of the helper
//     tarnwick [--home DIR] --undo-last      put the last clean-up back
//
// The home is --home, else the environment's TARNWICK_HOME (which a helper started
// with --home passes on), else the user database's.
class MainCommandLine
{
public:
    enum class Mode { OpenMessage, UndoLast, Help, Version, Error };

    static MainCommandLine parse(const QStringList &arguments);

    Mode mode() const { return m_mode; }
    QString home() const { return m_home; }
    QString file() const { return m_file; }
    QString helpText() const { return m_helpText; }
    QString errorText() const { return m_errorText; }

private:
    void fail(const QString &text);

    Mode m_mode = Mode::Error;
    QString m_home;
    QString m_file;
    QString m_helpText;
    QString m_errorText;
};
