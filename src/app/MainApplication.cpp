#include "MainApplication.h"

#include "HelperCommands.h"
#include "HomeTrash.h"
#include "RemovalPolicy.h"
#include "RemovalRecord.h"
#include "RemovalReport.h"
#include "TrashMover.h"
#include "TrashRestorer.h"
#include "TrustedMessageFile.h"
#include "core/PathsGenerator.h"
#include "platform/Delays.h"

#include <QCoreApplication>
#include <QTimer>

namespace {

const QString kUndoAction = QStringLiteral("undo");

std::unique_ptr<HomeTrash> openTrash()
{
    return HomeTrash::open(PathsGenerator::GetInstance().buildTrashDirectory());
}

QString home()
{
    return PathsGenerator::GetInstance().getHomeDirectory();
}

} // namespace

MainApplication::MainApplication(QTextStream &out, QTextStream &err)
    : m_out(out)
    , m_err(err)
{
    connect(&m_notifier, &DesktopNotifier::actionInvoked, this, &MainApplication::onAction);
    connect(&m_notifier, &DesktopNotifier::closed, this, &MainApplication::endOffer);
}

std::optional<int> MainApplication::openMessage(const QString &file)
{
    const auto trash = openTrash();
    if (!trash) {
        m_err << "tarnwick: the Trash cannot be opened: " << PathsGenerator::GetInstance().buildTrashDirectory() << Qt::endl;
        return 1;
    }
    QString why;
    const auto items = TrustedMessageFile::load(file, &why);
    if (!items) {
        m_err << "tarnwick: " << file << " is left alone: " << why << Qt::endl;
        return 1;
    }
    TrashMover mover(RemovalPolicy::forThisUser(), *trash);
    mover.reserve(*items);
    const QStringList trashPaths = mover.reservedTrashPaths();
    const bool excluded = !trashPaths.isEmpty() && HelperCommands::exclude(trashPaths);
    mover.moveReserved();
    m_removal = Removal{RemovalReport::applicationNames(*items), mover.moved(), mover.left()};
    if (!m_removal.moved.isEmpty())
        RemovalRecord::save(m_removal);
    announce(m_removal);
    if (excluded)
        clearExclusionsLater();
    return m_pendingParts == 0 ? std::optional<int>(0) : std::nullopt;
}

int MainApplication::undoLast()
{
    const auto record = RemovalRecord::load();
    if (!record) {
        m_err << "tarnwick: there is no clean-up to undo" << Qt::endl;
        return 1;
    }
    const Removal back = putBack(*record);
    m_out << RemovalReport::putBackLine(back) << Qt::endl;
    printLeft(back, tr("stays in the Trash"));
    return 0;
}

void MainApplication::announce(const Removal &removal)
{
    const QString line = RemovalReport::movedLine(removal);
    m_out << line << Qt::endl;
    printLeft(removal, tr("left where it was"));
    const QStringList actions = removal.moved.isEmpty() ? QStringList() : QStringList{kUndoAction, tr("Undo")};
    const auto expiry = std::chrono::duration_cast<std::chrono::milliseconds>(actions.isEmpty() ? kResultShown : kUndoOffer);
    if (!m_notifier.show(line, RemovalReport::leftSummary(removal, home()), actions, expiry) || actions.isEmpty())
        return;
    m_offerOpen = true;
    ++m_pendingParts;
    QTimer::singleShot(kUndoOffer, this, [this] {
        if (m_offerOpen)
            m_notifier.close();
        endOffer();
    });
}

// The helper prunes exclusions a while after the clear command; sent once the helper
// has seen the arrivals (debounce, then the search of moved-in folders), they cover
// them with room to spare.
void MainApplication::clearExclusionsLater()
{
    ++m_pendingParts;
    QTimer::singleShot(Delays::scaled(Delays::kTrashDebounce + Delays::kFolderSearch), this, [this] {
        HelperCommands::clear();
        finishPart();
    });
}

void MainApplication::onAction(const QString &key)
{
    if (key != kUndoAction || !m_offerOpen)
        return;
    const Removal back = putBack(m_removal);
    const QString line = RemovalReport::putBackLine(back);
    m_out << line << Qt::endl;
    printLeft(back, tr("stays in the Trash"));
    m_notifier.show(line, RemovalReport::leftSummary(back, home()), {},
                    std::chrono::duration_cast<std::chrono::milliseconds>(kResultShown));
    endOffer();
}

// Puts the removal's items back; the record keeps those that stayed in the Trash,
// when it still is the record of this removal.
Removal MainApplication::putBack(const Removal &removal)
{
    const auto trash = openTrash();
    if (!trash)
        return Removal{removal.names, {}, {LeftItem{PathsGenerator::GetInstance().buildTrashDirectory(), tr("the Trash cannot be opened")}}};
    const Removal back = TrashRestorer::putBack(removal, RemovalPolicy::forThisUser(), *trash);
    const auto record = RemovalRecord::load();
    if (record && record->moved == removal.moved) {
        Removal rest{removal.names, {}, {}};
        for (const TrashedItem &item : removal.moved) {
            if (!back.moved.contains(item))
                rest.moved.append(item);
        }
        RemovalRecord::save(rest);
    }
    return back;
}

void MainApplication::printLeft(const Removal &removal, const QString &verdict)
{
    for (const QString &line : RemovalReport::leftLines(removal, home()))
        m_err << "tarnwick: " << verdict << ": " << line << Qt::endl;
}

void MainApplication::endOffer()
{
    if (!m_offerOpen)
        return;
    m_offerOpen = false;
    finishPart();
}

void MainApplication::finishPart()
{
    if (--m_pendingParts == 0)
        QCoreApplication::exit(0);
}
