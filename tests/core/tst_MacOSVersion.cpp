#include "core/MacOSVersion.h"

#include <QTest>

class tst_MacOSVersion : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // Where no version can be read (every Linux system), the flags the agent consults
    // answer yes.
    void unknownSystemAnswersYes()
    {
        const MacOSVersion &unknown = MacOSVersion::GetInstance();
        QVERIFY(unknown.is_10_10_orHigher() && unknown.is_10_11_orHigher());
    }
};

QTEST_GUILESS_MAIN(tst_MacOSVersion)
#include "tst_MacOSVersion.moc"
