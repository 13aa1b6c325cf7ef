#pragma once

#include <QStringList>

class FileMessage;

// The main application's commands to the helper: command files written into the
// shared message folder and handed to the helper that runs for this user, through
// the open-file requests socket of its runtime directory (as a later start of the
// helper would hand them over). Handing them to that socket, rather than starting
// some helper executable, reaches exactly the agent that watches this session's
// Trash, and never starts one. The call returns once the agent has taken the file;
// it reads the command at once, before it looks at the Trash again.
//
// Stateless; main thread (the hand-over waits for the agent's answer).
class HelperCommands
{
public:
    // "exclude-paths": the helper offers nothing for Trash arrivals whose path
    // relative to the Trash begins with one of these names (without extension).
    // Whether a running helper took the command.
    static bool exclude(const QStringList &trashPaths);
    // "clear-exclude-paths": the exclusions held now end (the helper waits a little).
    static bool clear();

private:
    static bool send(const FileMessage &message);
};
