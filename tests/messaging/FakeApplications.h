#pragma once

#include "TestSandbox.h"
#include "platform/Workspace.h"

#include <QFile>
#include <QProcess>
#include <QTest>

#include <algorithm>
#include <memory>

// Application bundles whose executable (Contents/MacOS/tarnwick) is a copy of
// tw_fake_application, which appends each file it is asked to open, one path a line,
// to "<executable>.received", for the handoff tests.
//
// Owns the instances it starts and kills them when destroyed. Test thread only.
class FakeApplications
{
public:
    ~FakeApplications()
    {
        for (const auto &process : m_running) {
            process->kill();
            process->waitForFinished(5000);
        }
    }

    static QString executableOf(const QString &bundle) { return bundle + "/Contents/MacOS/tarnwick"; }

    // A bundle of the identifier whose executable records what it is asked to open.
    static QString makeScriptApp(const QString &path, const QString &identifier)
    {
        const QString executable = executableOf(TestSandbox::makeApp(path, identifier, "tarnwick"));
        QFile::remove(executable);
        const bool made = QFile::copy(TW_FAKE_APPLICATION, executable) &&
                          QFile::setPermissions(executable, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        return made ? path : QString();
    }

    // Such a bundle, started once with "--stay" so that it runs; returns once /proc shows
    // it running under the identifier, or null when it does not within 5 seconds.
    QString startRunningApp(const QString &path, const QString &identifier)
    {
        const QString executable = executableOf(makeScriptApp(path, identifier));
        auto process = std::make_shared<QProcess>();
        process->start(executable, {"--stay"});
        if (!process->waitForStarted(5000))
            return {};
        m_running.append(process);
        // The process shows its own executable only once exec has replaced the forked copy.
        const auto isRunning = [&] {
            const QList<RunningApplication> running = Workspace::runningApplications(identifier);
            return std::any_of(running.cbegin(), running.cend(),
                               [&](const RunningApplication &app) { return app.executablePath == executable; });
        };
        return QTest::qWaitFor(isRunning, 5000) ? path : QString();
    }

    // The paths the bundle's executable has been asked to open so far.
    static QStringList received(const QString &bundle)
    {
        QFile record(executableOf(bundle) + ".received");
        return record.open(QIODevice::ReadOnly) ? QString::fromUtf8(record.readAll()).split('\n', Qt::SkipEmptyParts) : QStringList();
    }

private:
    QList<std::shared_ptr<QProcess>> m_running;
};
