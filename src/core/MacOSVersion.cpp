#include "MacOSVersion.h"

#include "platform/PropertyList.h"

namespace {

QString readProductVersion(const QString &plistPath)
{
    const auto list = PropertyList::fromFile(plistPath);
    if (!list || list->metaType().id() != QMetaType::QVariantMap)
        return {};
    const QVariant version = list->toMap().value(QStringLiteral("ProductVersion"));
    return version.metaType().id() == QMetaType::QString ? version.toString() : QString();
}

// The run of digits starting at the index, as a number compared by value.
int compareDigitRuns(const QString &a, qsizetype &i, const QString &b, qsizetype &j)
{
    auto run = [](const QString &s, qsizetype &k) {
        while (k < s.size() && s.at(k) == QLatin1Char('0') && k + 1 < s.size() && s.at(k + 1).isDigit())
            ++k;
        const qsizetype start = k;
        while (k < s.size() && s.at(k).isDigit())
            ++k;
        return s.mid(start, k - start);
    };
    const QString left = run(a, i);
    const QString right = run(b, j);
    if (left.size() != right.size())
        return left.size() < right.size() ? -1 : 1;
    const int order = left.compare(right);
    return order < 0 ? -1 : (order > 0 ? 1 : 0);
}

} // namespace

MacOSVersion &MacOSVersion::GetInstance()
{
    static MacOSVersion instance{QString::fromLatin1(kSystemVersionPlist)};
    return instance;
}

MacOSVersion::MacOSVersion(const QString &systemVersionPlist)
    : m_sMacOSVersion(readProductVersion(systemVersionPlist))
{
    m_bIs_10_9_orHigher = isMacOSHasVersion(QStringLiteral("10.9"), false, true);
    m_bIs_10_10_orHigher = isMacOSHasVersion(QStringLiteral("10.10"), false, true);
    m_bIs_10_11_orHigher = isMacOSHasVersion(QStringLiteral("10.11"), false, true);
    m_bIs_10_12_orHigher = isMacOSHasVersion(QStringLiteral("10.12"), false, true);
    m_bIs_10_14_orHigher = isMacOSHasVersion(QStringLiteral("10.14"), false, true);
}

int MacOSVersion::compareVersions(const QString &a, const QString &b)
{
    qsizetype i = 0;
    qsizetype j = 0;
    while (i < a.size() && j < b.size()) {
        if (a.at(i).isDigit() && b.at(j).isDigit()) {
            if (const int order = compareDigitRuns(a, i, b, j))
                return order;
            continue;
        }
        if (a.at(i) != b.at(j))
            return a.at(i) < b.at(j) ? -1 : 1;
        ++i;
        ++j;
    }
    if (i < a.size())
        return 1;
    return j < b.size() ? -1 : 0;
}

bool MacOSVersion::isMacOSHasVersion(const QString &version, bool orLower, bool orHigher) const
{
    if (version.isEmpty() || m_sMacOSVersion.isEmpty())
        return true;
    if (orLower && orHigher)
        return true;
    const int order = compareVersions(version, m_sMacOSVersion);
    if (orHigher)
        return order <= 0;
    if (orLower)
        return order >= 0;
    return order == 0;
}

QString MacOSVersion::printTestToCheckMacOSVersion(const QString &version) const
{
    return printTestToCheckMacOSVersion(version, false, false);
}

QString MacOSVersion::printTestToCheckMacOSVersion(const QString &version, bool orLower, bool orHigher) const
{
    QString marker;
    if (orLower && !orHigher)
        marker = QStringLiteral("< ");
    else if (orHigher && !orLower)
        marker = QStringLiteral("> ");
    const bool answer = isMacOSHasVersion(version, orLower, orHigher);
    return marker + version + (answer ? QStringLiteral(" = YES") : QStringLiteral(" = NO"));
}

QStringList MacOSVersion::runTests() const
{
    QStringList lines;
    for (const char *version : {"10.8", "10.9", "10.9.5", "10.10", "10.10.4"}) {
        const QString v = QString::fromLatin1(version);
        lines << printTestToCheckMacOSVersion(v) << printTestToCheckMacOSVersion(v, true, false)
              << printTestToCheckMacOSVersion(v, false, true);
    }
    return lines;
}
