#pragma once

#include <QString>
#include <QUrl>

// Built-in constants of the product.
class Consts
{
public:
    static Consts &GetInstance();

    QString getMainAppName() const { return QStringLiteral("Tarnwick"); }
    // The help page behind the notification window's help button.
    QUrl getCustomNotificationHelpURL() const
    {
        return QUrl(QStringLiteral("https://www.corbelle.com/help/tarnwick/check-removed-apps"));
    }

private:
    Consts() = default;
};
