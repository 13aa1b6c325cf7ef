#pragma once

#include "core/PathForRemove.h"
#include "platform/Bundle.h"
#include "remains/AppImageRemainsInfoListener.h"
#include "remains/SimpleRemainsInfoListener.h"
#include "ui/AttributedString.h"

#include <QList>
#include <QMap>
#include <QObject>
#include <QPointer>
#include <QPushButton>
#include <QSet>
#include <QString>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

class AppImageRemains;
class AppImageRemainsInfo;
class AtributikaBridge;
class MultilineWordWrapTextField;
class QLabel;
class QPropertyAnimation;
class RichNotificationWindow;
class RemainsInfo;
class SimpleRemainsInfo;

// The notification offered when an application has been moved to the Trash: the
// window that says what the application left behind and hands it, on "Complete
// Uninstall", to the main application. Applications trashed while it is showing are
// gathered into the same notification, bundles and AppImages alike.
//
// Two states: inactive (window hidden, nothing gathered) and active (window shown,
// gathering); close, help, complete, or losing the focus once the window has been up
// for the focus-loss grace, return to inactive. The window is made on the first show.
//
// GUI thread only. The application delegate owns the controller; the controller owns
// the window and the remains it gathered, and listens to those remains (they hold it
// weakly, so it may go first).
class RichNotificationWC : public QObject, public SimpleRemainsInfoListener, public AppImageRemainsInfoListener
{
    Q_OBJECT
public:
    using Clock = std::function<std::chrono::steady_clock::time_point()>;
    using RemoveFilePaths = std::function<void(const QList<PathForRemove> &)>;

    static std::unique_ptr<RichNotificationWC> create();
    ~RichNotificationWC() override;

    // Shows (or extends) the notification for a trashed application, once the remains
    // finder agrees that it deserves one; a null bundle shows nothing.
    void showNotificationForApp(const std::optional<Bundle> &bundle);
    // The same for the file at the path, once it proves to be an AppImage that
    // deserves one (AppImageDecision).
    void showNotificationForAppImage(const QString &path);

    void showNotification();
    void hideNotification();
    void updateText();
    AttributedString generateAttributedString() const;
    static std::unique_ptr<AtributikaBridge> generateDefaultAtributica();

    void onSimpleRemainsInfoChanged(SimpleRemainsInfo *info) override;
    void onAppImageRemainsInfoChanged(AppImageRemainsInfo *info) override;

    bool isActive() const { return m_bIsActive; }
    qint64 otherAppCount() const { return m_nOtheAppCount; }
    // Null until the first show.
    RichNotificationWindow *window() const { return m_pWindow.get(); }
    QPushButton *completeUninstallButton() const { return m_pCompleteUninstallButton; }
    QPushButton *closeButton() const { return m_pCloseButton; }
    QPushButton *helpButton() const { return m_pHelpButton; }
    // The texts as shown (empty before the first show).
    QString titleText() const;
    QString descriptionText() const;
    // The remains gathered, one per bundle identifier or desktop id, and every path
    // they propose.
    qsizetype remainsInfoCount() const { return m_arrRemoveInfo.size() + m_arrAppImageInfo.size(); }
    QList<PathForRemove> gatheredPaths() const;

    // The time source of the focus-loss rule; nullptr restores the steady clock.
    void setClock(Clock clock);
    // Where "Complete Uninstall" hands the paths; nullptr restores NotificationsManager.
    void setRemoveFilePaths(RemoveFilePaths removeFilePaths);

public Q_SLOTS:
    void onSelectCompleteUninstall();
    void onShowHelp();
    void onNotificationClose();
    void windowDidResignKey();

Q_SIGNALS:
    void notificationShown();
    void notificationHidden();
    // The description was set again (a gathered application, a size report).
    void descriptionChanged();

private:
    RichNotificationWC();
    void initData();
    void loadWindow();
    void windowDidLoad();
    void connectActions();
    void gatherApp(const Bundle &bundle, const QString &bundleId);
    void gatherAppImage(const AppImageRemains &remains);
    bool beginGathering(const QString &path, const QString &displayName);
    QList<RemainsInfo *> gatheredInfos() const;
    void fadeIn();
    void placeWindow();

    std::unique_ptr<RichNotificationWindow> m_pWindow;
    QPointer<QLabel> m_pTitleLabel;
    QPointer<MultilineWordWrapTextField> m_pSubtitleLabel;
    QPointer<QPushButton> m_pHelpButton;
    QPointer<QPushButton> m_pCompleteUninstallButton;
    QPointer<QPushButton> m_pCloseButton;
    QPointer<QPropertyAnimation> m_pFadeIn;
    std::unique_ptr<AtributikaBridge> m_pAtributika;

    bool m_bIsActive = false;
    std::optional<std::chrono::steady_clock::time_point> m_pShowDate;
    QString m_sMainAppName;
    qint64 m_nOtheAppCount = 0;
    QMap<QString, std::shared_ptr<SimpleRemainsInfo>> m_arrRemoveInfo;     // by bundle identifier
    QMap<QString, std::shared_ptr<AppImageRemainsInfo>> m_arrAppImageInfo; // by desktop id
    QSet<QString> m_arrRemovedApps; // the paths gathered

    // What the remains hold weakly as their listener: this controller, not owned;
    // dropping it with the controller silences reports still on their way.
    std::shared_ptr<SimpleRemainsInfoListener> m_pListenerHandle;
    std::shared_ptr<AppImageRemainsInfoListener> m_pAppImageListenerHandle;
    Clock m_clock;
    RemoveFilePaths m_removeFilePaths;
};
