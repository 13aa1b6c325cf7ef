#pragma once

#include "ExcluderList.h"
#include "watching/AppsInTrashWatcherListener.h"

#include <QObject>
#include <QPointer>
#include <QString>
#include <QVariantList>

#include <memory>

class AppsInTrashWatcher;
class PresenterLink;
class QWidget;

// The application delegate, the spine of the agent: at launch it creates the link to
// the notification's presenter, starts the update restarter and the Trash watcher;
// afterwards it obeys the main application's command files and hands each
// application moved to the Trash (a bundle or an AppImage) either to the presenter or,
// when the main application excluded its name, to nobody.
//
// Main thread only. Owns the Trash watcher and the presenter link for the life of the
// process.
class AppDelegate : public QObject, public AppsInTrashWatcherListener
{
    Q_OBJECT
public:
    // The answer to a request to open several files, as the system expects it.
    enum class OpenReply { Success = 0 };

    AppDelegate();
    ~AppDelegate() override;

    void applicationDidFinishLaunching();
    void applicationWillTerminate();
    void startWatching();

    // application:openFile: — always answers true.
    bool application(QObject *sender, const QString &openFile);
    // application:openFiles: — the string elements are handled in order, anything
    // else is skipped; always replies success.
    OpenReply application(QObject *sender, const QVariantList &openFiles);
    void processOpenFileWithPath(const QString &path);

    void onAppMovedToTrash(const Bundle &bundle) override;
    void onAppImageMovedToTrash(const QString &path) override;

    ExcluderList &excluders() { return m_excluders; }
    PresenterLink *presenter() const { return m_pPresenter.get(); }
    AppsInTrashWatcher *trashWatcher() const { return m_pTrashWatcher.get(); }

    // The extension of the main application's command files.
    static QString commandFileExtension() { return QStringLiteral("msgfortwhelp"); }

protected:
    // Offers the clean-up of a trashed application that no exclusion stopped.
    virtual void showNotificationForApp(const Bundle &bundle);
    // The same for a file with the AppImage magics, still to be vetted.
    virtual void showNotificationForAppImage(const QString &path);

private:
    void scheduleExcludersPruning();
    bool isOffered(const QString &path) const;
    bool isExcluded(const QString &bundlePath) const;

    QWidget *window = nullptr; // never used by the logic
    ExcluderList m_excluders;
    std::unique_ptr<PresenterLink> m_pPresenter;
    std::unique_ptr<AppsInTrashWatcher> m_pTrashWatcher;
};
