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
        s_current = this;
        m_previous = qInstallMessageHandler(&handle);
        QLoggingCategory::setFilterRules(QStringLiteral("tarnwick.watching.debug=true"));
    }
    ~WatchingLogSpy()
    {
        QLoggingCategory::setFilterRules(QString());
        qInstallMessageHandler(m_previous);
        s_current = nullptr;
    }
    WatchingLogSpy(const WatchingLogSpy &) = delete;
    WatchingLogSpy &operator=(const WatchingLogSpy &) = delete;

    int count(const QString &start) const
    {
        int found = 0;
        for (const QString &message : m_messages)
            found += message.startsWith(start) ? 1 : 0;
        return found;
    }
    QStringList messages() const { return m_messages; }

private:
    static void handle(QtMsgType type, const QMessageLogContext &context, const QString &message)
    {
        if (qstrcmp(context.category, "tarnwick.watching") == 0)
            s_current->m_messages.append(message);
        else if (s_current->m_previous)
            s_current->m_previous(type, context, message);
    }

    inline static WatchingLogSpy *s_current = nullptr;
    QtMessageHandler m_previous = nullptr;
    QStringList m_messages;
};
