#pragma once

#include <QByteArray>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

// A program run to its end by a test: its exit code (-1 when it did not finish or
// did not exit normally) and what it printed.
struct ProgramRun
{
    int exitCode = -1;
    QByteArray out;
    QByteArray err;

    // The first line printed, as a path (the tools print the file they wrote).
    QString printedPath() const { return QString::fromLocal8Bit(out).trimmed(); }

    // Runs the program in the folder (the current one when empty) with the environment,
    // waiting up to 30 s.
    static ProgramRun of(const QString &program, const QStringList &arguments,
                         const QProcessEnvironment &environment = QProcessEnvironment::systemEnvironment(),
                         const QString &folder = QString());
};
