#pragma once

#include <QString>
#include <QtGlobal>

// The notification window's texts, from the translation context
// "RichNotificationWCLocalizable" by key, each with a default used when no installed
// translation has the key.
//
// The description's real text lives only in the translations (its default repeats
// the title); see LocalizedFormat for the arguments and choices a translation may
// use. Stateless; GUI thread (translations are looked up through the application).
class RichNotificationWCLocalizable
{
public:
    static QString closeButtonTitle();
    static QString completeUninstallButtonTitle();
    static QString titleWithAppName(const QString &appName);
    // Markup for the description. The translation gets, as %1..%5: the application
    // name (already markup), 1 when there are no other applications else 0, the number
    // of other applications (also the plural selector %n), the size text, and 1 when
    // every size is known else 0.
    static QString descriptionWithAppName(const QString &appName, const QString &sizeString, qint64 numberOfOtherApps,
                                          bool areWeSureIfAllElementsAreCalculated);

private:
    // The translation unless the lookup came back with the key itself (no entry).
    static QString orDefault(const QString &translated, const char *key, const char *defaultValue);
};
