#include "FakeApplications.h"

#include "TestSandbox.h"
#include "platform/Workspace.h"

#include <QFile>
#include <QTest>

#include <algorithm>

namespace {

const QString kExecutable = QStringLiteral("tarnwick");

} // namespace

FakeApplications::~FakeApplications()
{
    for (const auto &process : m_running) {
        process->kill();
        process->waitForFinished(5000);
    }
}

QString FakeApplications::executableOf(const QString &bundle)
{
    return bundle + QStringLiteral("/Contents/MacOS/") + kExecutable;
}

QString FakeApplications::makeScriptApp(const QString &path, const QString &identifier)
{
    TestSandbox::makeApp(path, identifier, kExecutable);
    QFile script(executableOf(path));
    if (!script.open(QIODevice::WriteOnly))
        return {};
    script.write("#!/bin/sh\nprintf '%s\\n' \"$1\" >> \"$0.received\"\n");
    script.close();
    script.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    return path;
}

QString FakeApplications::startRunningApp(const QString &path, const QString &identifier)
{
    TestSandbox::makeApp(path, identifier, kExecutable);
    const QString executable = executableOf(path);
    QFile::remove(executable);
    if (!QFile::copy(QStringLiteral(TW_FAKE_APPLICATION), executable))
        return {};
    QFile::setPermissions(executable, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    auto process = std::make_shared<QProcess>();
    process->start(executable, {QStringLiteral("--stay")});
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

QStringList FakeApplications::received(const QString &bundle)
{
    QFile record(executableOf(bundle) + QStringLiteral(".received"));
    if (!record.open(QIODevice::ReadOnly))
        return {};
    return QString::fromUtf8(record.readAll()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}
