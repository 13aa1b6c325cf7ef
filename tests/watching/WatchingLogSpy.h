#pragma once

#include <QLoggingCategory>
#include <QStringList>

// Turns on Trash watching's debug output for its lifetime and keeps its messages, so
// that a test can see what the watchers did (a refresh, a refusal) without a hook in
// the product. Main thread; one spy at a time.
class WatchingLogSpy
{
public:
    WatchingLogSpy()
    {
        s_messages.clear();
        s_previous = qInstallMessageHandler(&handle);
        QLoggingCategory::setFilterRules(QStringLiteral("tarnwick.watching.debug=true"));
    }
    ~WatchingLogSpy()
    {
        QLoggingCategory::setFilterRules(QString());
        qInstallMessageHandler(s_previous);
    }

    // The messages that hold the text.
    int count(const QString &text) const { return int(s_messages.filter(text).size()); }

private:
    static void handle(QtMsgType type, const QMessageLogContext &context, const QString &message)
    {
        if (qstrcmp(context.category, "tarnwick.watching") == 0)
            s_messages.append(message);
        else if (s_previous)
            s_previous(type, context, message);
    }

    inline static QtMessageHandler s_previous = nullptr;
    inline static QStringList s_messages;
};
