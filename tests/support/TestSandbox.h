#pragma once

#include <QString>
#include <QTemporaryDir>

// A throw-away world for one test executable: a temporary folder as the user's home
// (with its Trash), a private runtime directory for message files, a stand-in for
// the helper's own bundle, and the product's delays shortened.
//
// Create it in initTestCase(), before any service computes the user's paths.
class TestSandbox
{
public:
    static constexpr int kDelayDivisor = 20;

    TestSandbox();

    QString home() const { return m_home; }
    QString trash() const;
    QString runtimeDirectory() const { return m_runtime; }
    QString helperBundle() const { return m_helperBundle; }
    // Stands in for "/Applications".
    QString systemApplications() const;
    QString path(const QString &relative) const;

    // Writes an application bundle: <path>/Contents/Info.plist with the identifier
    // (none when null) and executable name (none when null). Returns the path.
    static QString makeApp(const QString &path, const QString &identifier, const QString &executable = QString());
    // Writes a file of the given size (folders made as needed). Returns the path.
    static QString makeFile(const QString &path, qint64 size = 0);

private:
    QTemporaryDir m_root;
    QString m_home;
    QString m_runtime;
    QString m_helperBundle;
};
