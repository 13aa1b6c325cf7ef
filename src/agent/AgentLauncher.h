#pragma once

#include <QStringList>

class InstanceLock;

// Starts the agent for the life of the process, one per user: the first start takes
// the user's instance lock, listens for the open-file requests of later starts and
// runs the application delegate with its Trash watcher, which starts the presenter
// of the notification window when it has something to show; a later start hands its
// files to the running agent and ends.
//
// A normal start prints nothing. A start that cannot run the agent prints one line on
// stderr and ends with kExitCannotRun.
class AgentLauncher
{
public:
    static constexpr int kExitCannotRun = 1;

    // Runs the agent, or hands the files to the one that runs; the exit code.
    static int start(int &argc, char **argv, const QStringList &files);
    // Paths as the running agent must see them: absolute, from this start's folder.
    static QStringList absolutePaths(const QStringList &files);

private:
    static int handToRunningAgent(const QStringList &files);
    static int run(InstanceLock &lock, const QStringList &files);
};
