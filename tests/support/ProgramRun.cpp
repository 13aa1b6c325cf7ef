#include "ProgramRun.h"

#include <QProcess>

ProgramRun ProgramRun::of(const QString &program, const QStringList &arguments, const QProcessEnvironment &environment,
                          const QString &folder)
{
    QProcess process;
    process.setProcessEnvironment(environment);
    process.setWorkingDirectory(folder);
    process.start(program, arguments);
    if (!process.waitForFinished(30000) || process.exitStatus() != QProcess::NormalExit)
        return {};
    return {process.exitCode(), process.readAllStandardOutput(), process.readAllStandardError()};
}
