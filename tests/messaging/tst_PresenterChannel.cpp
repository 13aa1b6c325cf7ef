#include "messaging/PresenterChannel.h"

#include <QSignalSpy>
#include <QTest>

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

// The line between agent and presenter, its far end written raw as a broken or
// hostile peer would.
class tst_PresenterChannel : public QObject
{
    Q_OBJECT

    struct Pair
    {
        std::unique_ptr<PresenterChannel> channel;
        int raw = -1;
        ~Pair() { ::close(raw); }
    };
    static std::unique_ptr<Pair> pair()
    {
        auto made = std::make_unique<Pair>();
        int ends[2];
        if (!PresenterChannel::createPair(ends))
            return made;
        made->channel = std::make_unique<PresenterChannel>(ends[0]);
        made->raw = ends[1];
        ::fcntl(made->raw, F_SETFL, O_NONBLOCK);
        return made;
    }
    // Lets the channel read whenever the socket is full.
    static void write(int descriptor, const QByteArray &bytes)
    {
        for (qsizetype done = 0; done < bytes.size();) {
            const ssize_t written = ::send(descriptor, bytes.constData() + done, size_t(bytes.size() - done), MSG_NOSIGNAL);
            if (written < 0 && errno != EAGAIN)
                return;
            done += std::max<ssize_t>(written, 0);
            QCoreApplication::processEvents();
        }
    }

private Q_SLOTS:
    // Messages split anywhere arrive whole and in order; a message that is not a JSON
    // object ends the line, and so does a line that grows past the limit before its end.
    void readsWholeLinesAndEndsOnGarbage_data()
    {
        QTest::addColumn<QByteArray>("garbage");
        QTest::newRow("not JSON") << QByteArray("hello\n");
        QTest::newRow("an array") << QByteArray("[1]\n");
        QTest::newRow("endless line") << QByteArray(PresenterChannel::kMaxLineBytes + 10, 'x');
    }
    void readsWholeLinesAndEndsOnGarbage()
    {
        QFETCH(QByteArray, garbage);
        const auto ends = pair();
        QVERIFY(ends->channel);
        QSignalSpy received(ends->channel.get(), &PresenterChannel::received);
        QSignalSpy closed(ends->channel.get(), &PresenterChannel::closed);
        write(ends->raw, "{\"type\":\"pi");
        QTest::qWait(20);
        write(ends->raw, "ng\"}\n{\"type\":\"ready\"}\n");
        QTRY_COMPARE(received.size(), 2);
        QCOMPARE(received.at(1).at(0).toJsonObject().value(u"type"_s).toString(), u"ready"_s);
        write(ends->raw, garbage); // the endless line has no end: only the bound closes it
        QTRY_COMPARE(closed.size(), 1);
        QCOMPARE(received.size(), 2);
        QVERIFY(!ends->channel->isOpen());
    }
};

QTEST_MAIN(tst_PresenterChannel)
#include "tst_PresenterChannel.moc"
