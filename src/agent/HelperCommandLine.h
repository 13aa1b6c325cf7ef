#pragma once

#include <QString>
#include <QStringList>

// The helper's command line. Started without arguments (as a login item) it runs as
// the agent; the options exist for people, scripts, sandboxes and tests.
class HelperCommandLine
{
public:
    enum class Mode { Agent, Help, Version, ListRemains, EnableLoginItem, DisableLoginItem, Error };

    static HelperCommandLine parse(const QStringList &arguments);

    Mode mode() const { return m_mode; }
    QString home() const { return m_home; }
    QString remainsOf() const { return m_remainsOf; }
    // Files handed to the agent (command files of the main application).
    QStringList files() const { return m_files; }
    QString helpText() const { return m_helpText; }
    QString errorText() const { return m_errorText; }

private:
    Mode m_mode = Mode::Agent;
    QString m_home;
    QString m_remainsOf;
    QStringList m_files;
    QString m_helpText;
    QString m_errorText;
};
