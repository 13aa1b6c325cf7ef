#include "RichNotificationWC.h"

#include "AtributikaBridge.h"
#include "NotificationLog.h"
#include "RichNotificationView.h"
#include "RichNotificationWCLocalizable.h"
#include "RichNotificationWindow.h"
#include "TranslationLoader.h"
#include "core/Consts.h"
#include "core/StringFileManager.h"
#include "core/StringFileSize.h"
#include "messaging/NotificationsManager.h"
#include "platform/Delays.h"
#include "platform/MainThread.h"
#include "platform/PathCodec.h"
#include "platform/Workspace.h"
#include "remains/AppImageDecision.h"
#include "remains/AppImageRemainsInfo.h"
#include "remains/SimpleRemainsInfo.h"
#include "ui/ColorExtra.h"
#include "ui/FontsFactory.h"
#include "ui/ImageLibrary.h"
#include "ui/MultilineWordWrapTextField.h"

#include "ui_RichNotificationWC.h"

#include <QGuiApplication>
#include <QIcon>
#include <QPixmap>
#include <QPropertyAnimation>
#include <QPushButton>
#include <QScreen>

namespace {

// The window's margins from the screen's right and top edges.
constexpr int kRightMargin = 20;
constexpr int kTopMargin = 40;
constexpr double kTextSize = 13.0;

QColor textColor()
{
    return ColorExtra::properColorWithRed(0.87058824f, 0.88235295f, 0.9137255f, 1.0f);
}

QColor emphasisColor()
{
    return ColorExtra::properColorWithRed(0.49019608f, 0.7137255f, 1.0f, 1.0f);
}

void handToMainApplication(const QList<PathForRemove> &paths)
{
    NotificationsManager::GetInstance().removeFilePaths(paths);
}

QIcon iconNamed(const QString &name)
{
    return QIcon(QPixmap::fromImage(ImageLibrary::imageNamed(name)));
}

// The name keeps its own reading direction without turning the sentence around it
// (a Hebrew or Arabic name in an English text): a first-strong isolate.
QString isolated(const QString &name)
{
    return QChar(0x2068) + name + QChar(0x2069);
}

} // namespace

std::unique_ptr<RichNotificationWC> RichNotificationWC::create()
{
    if (TranslationLoader::loadedFiles().isEmpty())
        TranslationLoader::installTranslations();
    std::unique_ptr<RichNotificationWC> controller(new RichNotificationWC());
    controller->initData();
    return controller;
}

RichNotificationWC::RichNotificationWC()
    : m_pListenerHandle(this, [](SimpleRemainsInfoListener *) {})
    , m_pAppImageListenerHandle(this, [](AppImageRemainsInfoListener *) {})
    , m_clock(&std::chrono::steady_clock::now)
    , m_removeFilePaths(&handToMainApplication)
{
}

RichNotificationWC::~RichNotificationWC()
{
    // The window may still report (a deactivation while it goes): not to a
    // controller that is half gone.
    if (m_pWindow)
        m_pWindow->disconnect(this);
    m_pWindow.reset();
}

void RichNotificationWC::initData()
{
    m_bIsActive = false;
    m_arrRemoveInfo.clear();
    m_arrAppImageInfo.clear();
    m_arrRemovedApps.clear();
}

void RichNotificationWC::showNotificationForApp(const std::optional<Bundle> &bundle)
{
    if (!bundle)
        return;
    const QString bundleId = bundle->bundleIdentifier();
    QPointer<RichNotificationWC> self(this);
    SimpleRemainsInfo::calculateIsCanShowNotificationForBundleWithID(bundleId, [self, bundle = *bundle, bundleId] {
        // Always a later turn of the main loop, even when the decision came on it.
        MainThread::async([self, bundle, bundleId] {
            if (self)
                self->gatherApp(bundle, bundleId);
        });
    });
}

void RichNotificationWC::showNotificationForAppImage(const QString &path)
{
    QPointer<RichNotificationWC> self(this);
    // The decision's answer already comes in a later turn of the main loop.
    AppImageDecision::calculateIsCanShowNotificationForAppImageAtPath(path, [self](const AppImageRemains &remains) {
        if (self)
            self->gatherAppImage(remains);
    });
}

void RichNotificationWC::gatherApp(const Bundle &bundle, const QString &bundleId)
{
    const QString name = StringFileManager::getDisplayNameWithoutExtension(bundle.bundlePath());
    if (!beginGathering(bundle.bundlePath(), PathCodec::forDisplay(name)))
        return;
    if (const auto info = m_arrRemoveInfo.value(bundleId))
        info->addBundle(bundle);
    else if (auto created = SimpleRemainsInfo::initWithBundle(bundle, m_pListenerHandle))
        m_arrRemoveInfo.insert(bundleId, std::move(created));
    showNotification();
}

void RichNotificationWC::gatherAppImage(const AppImageRemains &remains)
{
    const AppImage appImage = remains.appImage();
    if (!beginGathering(appImage.path(), appImage.displayName()))
        return;
    if (const auto info = m_arrAppImageInfo.value(appImage.desktopId()))
        info->addAppImage(appImage);
    else if (auto created = AppImageRemainsInfo::initWithRemains(remains, m_pAppImageListenerHandle))
        m_arrAppImageInfo.insert(appImage.desktopId(), std::move(created));
    showNotification();
}

// The first application gathered names the notification; later ones are counted.
// False when the application at the path is gathered already.
bool RichNotificationWC::beginGathering(const QString &path, const QString &displayName)
{
    if (m_arrRemovedApps.contains(path))
        return false;
    m_arrRemovedApps.insert(path);
    if (m_bIsActive) {
        ++m_nOtheAppCount;
    } else {
        m_bIsActive = true;
        m_pShowDate = m_clock();
        m_sMainAppName = displayName;
        m_nOtheAppCount = 0;
    }
    qCDebug(lcNotification) << "gathered" << path << "others:" << m_nOtheAppCount;
    updateText();
    return true;
}

QList<RemainsInfo *> RichNotificationWC::gatheredInfos() const
{
    QList<RemainsInfo *> infos;
    for (const auto &info : m_arrRemoveInfo)
        infos.append(info.get());
    for (const auto &info : m_arrAppImageInfo)
        infos.append(info.get());
    return infos;
}

void RichNotificationWC::loadWindow()
{
    if (m_pWindow)
        return;
    m_pWindow = std::make_unique<RichNotificationWindow>();
    m_pWindow->setClock(m_clock);
    Ui::RichNotificationWC outlets;
    outlets.setupUi(m_pWindow.get());
    m_pTitleLabel = outlets.titleLabel;
    m_pSubtitleLabel = outlets.descriptionLabel;
    m_pHelpButton = outlets.helpButton;
    m_pCompleteUninstallButton = outlets.completeUninstallButton;
    m_pCloseButton = outlets.closeButton;
    m_pSubtitleLabel->awakeFromNib();
    m_pFadeIn = new QPropertyAnimation(m_pWindow.get(), "windowOpacity", m_pWindow.get());
    connect(m_pFadeIn, &QPropertyAnimation::finished, outlets.contentView, qOverload<>(&QWidget::update));
    windowDidLoad();
}

void RichNotificationWC::windowDidLoad()
{
    connectActions();
    // Deliberately before the styles exist: the description stays empty until the
    // next update (the next gathered application or the first size report).
    updateText();

    QPalette titlePalette = m_pTitleLabel->palette();
    titlePalette.setColor(QPalette::WindowText, textColor());
    m_pTitleLabel->setPalette(titlePalette);
    m_pTitleLabel->setFont(FontsFactory::fontWithName(FontsFactory::HelveticaNeueMedium, kTextSize));

    const QIcon normal = iconNamed(QStringLiteral("btn_help_Tarnwick"));
    const QIcon pressed = iconNamed(QStringLiteral("btn_help_Tarnwick_click"));
    m_pHelpButton->setIcon(normal);
    connect(m_pHelpButton, &QPushButton::pressed, m_pHelpButton, [button = m_pHelpButton, pressed] { button->setIcon(pressed); });
    connect(m_pHelpButton, &QPushButton::released, m_pHelpButton, [button = m_pHelpButton, normal] { button->setIcon(normal); });

    m_pAtributika = generateDefaultAtributica();

    for (QPushButton *button : {m_pCloseButton.data(), m_pCompleteUninstallButton.data()}) {
        button->setFont(FontsFactory::fontWithName(FontsFactory::HelveticaNeueMedium, kTextSize));
    }
    m_pCloseButton->setText(RichNotificationWCLocalizable::closeButtonTitle());
    m_pCloseButton->setAccessibleName(m_pCloseButton->text());
    m_pCompleteUninstallButton->setText(RichNotificationWCLocalizable::completeUninstallButtonTitle());
    m_pCompleteUninstallButton->setAccessibleName(m_pCompleteUninstallButton->text());

    const QString title = RichNotificationWCLocalizable::titleWithAppName(Consts::GetInstance().getMainAppName());
    m_pTitleLabel->setText(title);
    m_pWindow->setWindowTitle(title);
    m_pCompleteUninstallButton->setFocus();
}

void RichNotificationWC::connectActions()
{
    connect(m_pWindow.get(), &RichNotificationWindow::didResignKey, this, &RichNotificationWC::windowDidResignKey);
    connect(m_pWindow.get(), &RichNotificationWindow::closeRequested, this, &RichNotificationWC::onNotificationClose);
    connect(m_pCompleteUninstallButton, &QPushButton::clicked, this, &RichNotificationWC::onSelectCompleteUninstall);
    connect(m_pCloseButton, &QPushButton::clicked, this, &RichNotificationWC::onNotificationClose);
    connect(m_pHelpButton, &QPushButton::clicked, this, &RichNotificationWC::onShowHelp);
}

void RichNotificationWC::showNotification()
{
    loadWindow();
    m_pWindow->setWindowOpacity(0.0);
    // Sized and placed before it is mapped, so that it never shows anywhere else.
    m_pWindow->fitHeightToContent();
    placeWindow();
    m_pWindow->show();
    fadeIn();
    m_pWindow->makeKeyAndOrderFront();
    Q_EMIT notificationShown();
}

void RichNotificationWC::fadeIn()
{
    m_pFadeIn->stop();
    m_pFadeIn->setDuration(Delays::scaledMs(Delays::kFadeIn));
    m_pFadeIn->setStartValue(0.0);
    m_pFadeIn->setEndValue(1.0);
    m_pFadeIn->start();
}

// The whole screen, not its available part: the top margin alone keeps the window
// clear of a panel along the top edge.
void RichNotificationWC::placeWindow()
{
    const QScreen *screen = QGuiApplication::primaryScreen();
    const QRect screenFrame = screen ? screen->geometry() : QRect();
    m_pWindow->move(screenFrame.x() + screenFrame.width() - m_pWindow->frameGeometry().width() - kRightMargin,
                    screenFrame.y() + kTopMargin);
}

void RichNotificationWC::windowDidResignKey()
{
    if (!m_bIsActive || !m_pShowDate)
        return;
    if (m_clock() - *m_pShowDate > Delays::scaled(Delays::kFocusLossGrace))
        hideNotification();
}

void RichNotificationWC::hideNotification()
{
    // The name, the count and the show date stay: the next first application sets them.
    m_bIsActive = false;
    for (RemainsInfo *info : gatheredInfos())
        info->cancelSizeCalculation(); // nothing shows their sizes any more
    m_arrRemoveInfo.clear();
    m_arrAppImageInfo.clear();
    m_arrRemovedApps.clear();
    if (m_pFadeIn)
        m_pFadeIn->stop();
    if (m_pWindow)
        m_pWindow->hide();
    Q_EMIT notificationHidden();
}

void RichNotificationWC::updateText()
{
    if (!m_pSubtitleLabel)
        return;
    const AttributedString description = generateAttributedString();
    m_pSubtitleLabel->setAttributedStringValue(description);
    m_pWindow->setAccessibleDescription(description.string());
    m_pWindow->fitHeightToContent();
    Q_EMIT descriptionChanged();
}

AttributedString RichNotificationWC::generateAttributedString() const
{
    if (!m_bIsActive || !m_pAtributika)
        return {};
    quint64 total = 0;
    for (const RemainsInfo *info : gatheredInfos())
        total += info->getTotalSize();
    // "12.3 MB" stays on one line.
    const QString size = StringFileSize::convertToStringFromFileSize(total).replace(QLatin1Char(' '), QChar::Nbsp);
    const QString markup = RichNotificationWCLocalizable::descriptionWithAppName(
        AtributikaBridge::prepareString(isolated(m_sMainAppName)), size, m_nOtheAppCount, true);
    return m_pAtributika->convertString(markup);
}

std::unique_ptr<AtributikaBridge> RichNotificationWC::generateDefaultAtributica()
{
    auto bridge = std::make_unique<AtributikaBridge>();
    const QString defaultTag = AtributikaBridge::DefaultTag();
    bridge->setDefaultParagraphStyleWithAlignment(Qt::AlignLeft, defaultTag);
    bridge->setFont(FontsFactory::fontWithName(FontsFactory::HelveticaNeue, kTextSize), defaultTag);
    bridge->setForegroundColor(textColor(), defaultTag);
    const QString bold = QStringLiteral("b");
    bridge->setFont(FontsFactory::fontWithName(FontsFactory::HelveticaNeueMedium, kTextSize), bold);
    bridge->setForegroundColor(emphasisColor(), bold);
    return bridge;
}

void RichNotificationWC::onSimpleRemainsInfoChanged(SimpleRemainsInfo *info)
{
    if (info)
        updateText();
}

void RichNotificationWC::onAppImageRemainsInfoChanged(AppImageRemainsInfo *info)
{
    if (info)
        updateText();
}

QString RichNotificationWC::titleText() const
{
    return m_pTitleLabel ? m_pTitleLabel->text() : QString();
}

QString RichNotificationWC::descriptionText() const
{
    return m_pSubtitleLabel ? m_pSubtitleLabel->stringValue() : QString();
}

QList<PathForRemove> RichNotificationWC::gatheredPaths() const
{
    QList<PathForRemove> paths;
    for (const RemainsInfo *info : gatheredInfos())
        info->addRemoveObjectPathsToArray(paths);
    return paths;
}

void RichNotificationWC::onSelectCompleteUninstall()
{
    const QList<PathForRemove> paths = gatheredPaths();
    qCDebug(lcNotification) << "handing over" << paths.size() << "paths";
    if (m_removeFilePaths)
        m_removeFilePaths(paths);
    hideNotification();
}

void RichNotificationWC::onShowHelp()
{
    Workspace::openUrl(Consts::GetInstance().getCustomNotificationHelpURL());
    hideNotification();
}

void RichNotificationWC::onNotificationClose()
{
    hideNotification();
}

void RichNotificationWC::setClock(Clock clock)
{
    m_clock = clock ? std::move(clock) : Clock(&std::chrono::steady_clock::now);
    if (m_pWindow)
        m_pWindow->setClock(m_clock);
}

void RichNotificationWC::setRemoveFilePaths(RemoveFilePaths removeFilePaths)
{
    m_removeFilePaths = removeFilePaths ? std::move(removeFilePaths) : RemoveFilePaths(&handToMainApplication);
}
