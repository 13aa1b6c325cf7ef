#pragma once

#include <QList>
#include <QProcess>
#include <QString>
#include <QStringList>

#include <memory>

// Application bundles that record the files they are asked to open, for the handoff
// tests. Each bundle's executable is Contents/MacOS/tarnwick; what it was asked to
// open goes, one path a line, to "<executable>.received".
//
// Owns the instances it starts and kills them when destroyed. Test thread only.
class FakeApplications
{
public:
    FakeApplications() = default;
    ~FakeApplications();
    FakeApplications(const FakeApplications &) = delete;
    FakeApplications &operator=(const FakeApplications &) = delete;

    // A bundle whose executable is a shell script that records its argument.
    static QString makeScriptApp(const QString &path, const QString &identifier);
    // A bundle whose executable is a compiled recorder, started once with "--stay" so
    // that it runs; returns once /proc shows it running under the identifier, or null
    // when it does not within 5 seconds.
    QString startRunningApp(const QString &path, const QString &identifier);

    static QString executableOf(const QString &bundle);
    // The paths the bundle's executable has been asked to open so far.
    static QStringList received(const QString &bundle);

private:
    QList<std::shared_ptr<QProcess>> m_running;
};
