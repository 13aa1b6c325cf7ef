#pragma once

#include <QStringList>

// Runs the agent for the life of the process: one instance per user, which takes the
// open-file requests of later starts, and the application delegate with its Trash
// watcher and notification window.
class AgentLauncher
{
public:
    // Hands the files to an agent that already runs for this user; whether one took them.
    static bool handToRunningAgent(const QStringList &files);
    // Runs the agent on the current application object until it quits; the exit code.
    // The files are handled once the agent has started.
    static int run(const QStringList &files);
    // Paths as the running agent must see them: absolute, from this start's folder.
    static QStringList absolutePaths(const QStringList &files);
};
