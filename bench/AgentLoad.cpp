#include "AgentLoad.h"

#include "TestSandbox.h"
#include "messaging/FileMessage.h"
#include "notification/RichNotificationWC.h"
#include "platform/Bundle.h"
#include "watching/AppsInTrashWatcher.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QSet>
#include <QTest>

#include <chrono>

namespace {

const QString kSentinelPrefix = QStringLiteral("Sentinel");

int gatheredBundles(const RichNotificationWC &window)
{
    QSet<QString> bundles;
    for (const PathForRemove &path : window.gatheredPaths()) {
        if (path.type() == 0)
            bundles.insert(path.path());
    }
    return int(bundles.size());
}

int entriesOf(const QString &folder)
{
    return int(QDir(folder).entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot).size());
}

} // namespace

// Counts each report, then lets the agent handle it as usual, up to the window of this
// process in place of the presenter's.
class AgentLoad::CountingDelegate : public AppDelegate
{
public:
    CountingDelegate(QHash<QString, int> &reports, RichNotificationWC &window) : m_reports(reports), m_window(window) {}
    void onAppMovedToTrash(const Bundle &bundle) override
    {
        ++m_reports[bundle.bundlePath()];
        AppDelegate::onAppMovedToTrash(bundle);
    }

protected:
    void showNotificationForApp(const Bundle &bundle) override { m_window.showNotificationForApp(bundle); }

private:
    QHash<QString, int> &m_reports;
    RichNotificationWC &m_window;
};

AgentLoad::AgentLoad(const TestSandbox &sandbox)
    : m_sandbox(sandbox)
    , m_window(RichNotificationWC::create())
    , m_delegate(std::make_unique<CountingDelegate>(m_reports, *m_window))
{
    m_delegate->applicationDidFinishLaunching();
    RichNotificationWC *window = m_window.get();
    // The window stays up however long a burst takes: the focus-loss rule never sees
    // the grace pass.
    const auto shownAt = std::chrono::steady_clock::now();
    window->setClock([shownAt] { return shownAt; });
    // A notification is shown again for every application it gathers; a gathering
    // begins with the first.
    QObject::connect(window, &RichNotificationWC::notificationShown, window, [this, window] {
        m_shown += window->otherAppCount() == 0 ? 1 : 0;
    });
    // The main application's exclusion that keeps the sentinels out of the window.
    m_delegate->application(nullptr, FileMessage::CreateMessageForHelperToExcludeRemovedPaths(
                                         {QStringLiteral("/Applications/%1.app").arg(kSentinelPrefix)})
                                         .saveToFile());
}

AgentLoad::~AgentLoad() = default;

QString AgentLoad::makeApp(const QString &folder, const QString &name) const
{
    const QString path = m_sandbox.path(QStringLiteral("%1/%2.app").arg(folder, name));
    const QString identifier = QStringLiteral("com.example.load.") + name;
    TestSandbox::makeApp(path, identifier, name);
    TestSandbox::makeFile(path + QStringLiteral("/Contents/MacOS/") + name, 4096);
    TestSandbox::makeFile(m_sandbox.path(QStringLiteral("Library/Caches/%1/cache.db").arg(identifier)), 1024);
    return path;
}

// As a file manager does, the Trash folders are made again when they are missing.
QString AgentLoad::moveToTrash(const QString &path) const
{
    const QString trashed = m_sandbox.trash() + QLatin1Char('/') + QFileInfo(path).fileName();
    return QDir().rename(path, trashed) ? trashed : QString();
}

bool AgentLoad::waitForReport(const QString &trashedPath, int timeoutMs) const
{
    return !trashedPath.isNull() && QTest::qWaitFor([&] { return m_reports.value(trashedPath) > 0; }, timeoutMs);
}

bool AgentLoad::waitUntilShown(int bundles, int timeoutMs)
{
    RichNotificationWC *window = m_window.get();
    return QTest::qWaitFor([&] { return window->isActive() && gatheredBundles(*window) == bundles; }, timeoutMs);
}

void AgentLoad::closeWindow()
{
    if (m_window->isActive())
        m_window->closeButton()->click();
}

AgentLoad::Burst AgentLoad::runBurst(int size, int timeoutMs)
{
    const int number = ++m_bursts;
    const QString staging = QStringLiteral("Downloads/burst-%1").arg(number);
    QStringList built;
    for (int i = 0; i < size; ++i)
        built << makeApp(staging, QStringLiteral("App%1x%2").arg(number).arg(i));
    const QString sentinel = makeApp(staging, kSentinelPrefix + QString::number(number));

    const int shownBefore = m_shown;
    Burst burst;
    QStringList trashed;
    QElapsedTimer clock;
    clock.start();
    for (const QString &path : std::as_const(built)) {
        trashed << moveToTrash(path);
        burst.moved += trashed.constLast().isNull() ? 0 : 1;
    }
    burst.complete = waitUntilShown(burst.moved, timeoutMs);
    burst.milliseconds = clock.elapsed();
    burst.complete = waitForReport(moveToTrash(sentinel), timeoutMs) && burst.complete;

    burst.gathered = gatheredBundles(*m_window);
    burst.gatherings = m_shown - shownBefore;
    for (const QString &path : std::as_const(trashed)) {
        const int reports = m_reports.value(path);
        burst.reported += reports > 0 ? 1 : 0;
        burst.extraReports += std::max(reports - 1, 0);
    }
    closeWindow();
    return burst;
}

bool AgentLoad::isWatchingTrash() const
{
    return m_delegate->trashWatcher() && m_delegate->trashWatcher()->isWatching();
}

bool AgentLoad::isShownWhenTrashed(const QString &name, int timeoutMs)
{
    closeWindow();
    const bool shown = waitForReport(moveToTrash(makeApp(QStringLiteral("Downloads/single"), name)), timeoutMs) &&
                       waitUntilShown(1, timeoutMs);
    closeWindow();
    return shown;
}

// Files of /proc have no size, so the whole text is read rather than line by line.
qint64 AgentLoad::residentKilobytes()
{
    QFile status(QStringLiteral("/proc/self/status"));
    const QByteArray text = status.open(QIODevice::ReadOnly) ? status.readAll() : QByteArray();
    const qsizetype at = text.indexOf("VmRSS:");
    return at < 0 ? -1 : text.mid(at + 6, text.indexOf('\n', at) - at - 6).trimmed().split(' ').first().toLongLong();
}

int AgentLoad::openDescriptors()
{
    return entriesOf(QStringLiteral("/proc/self/fd"));
}

int AgentLoad::threadCount()
{
    return entriesOf(QStringLiteral("/proc/self/task"));
}
