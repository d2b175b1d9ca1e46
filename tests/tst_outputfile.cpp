// SPDX-License-Identifier: Apache-2.0
#include "common/files.h"
#include "host/convert/outputfile.h"

#include <QDir>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QtTest>

#include <sys/file.h>
#include <unistd.h>

class OutputFileTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void appearsWhenItIsComplete();
    void replacesWhatIsThere();
    void isGoneWithoutCommit_data();
    void isGoneWithoutCommit();
    void keepsPermissions();
    void keepsALink();
    void writesWhatALinkLeadsTo();
    void refusesALinkToItself();
    void refusesWhatIsNoFile_data();
    void refusesWhatIsNoFile();
    void refusesAMissingFolder();
    void tellsWhenItCannotGetItsName();
    void fullDiskHasOneName_data();
    void fullDiskHasOneName();
    void takesTheLongestName();
    void removesWhatNobodyWrites();

private:
    QString path(const char *name) const { return folder->filePath(QString::fromUtf8(name)); }
    QByteArray content(const char *name) const;
    void make(const char *name, const QByteArray &content) const;
    QStringList names() const
    {
        return QDir(folder->path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
    }

    QScopedPointer<QTemporaryDir> folder;
};

void OutputFileTest::init()
{
    folder.reset(new QTemporaryDir);
    QVERIFY(folder->isValid());
}

QByteArray OutputFileTest::content(const char *name) const
{
    QFile file(path(name));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(none)");
}

void OutputFileTest::make(const char *name, const QByteArray &content) const
{
    QFile file(path(name));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(content);
}

void OutputFileTest::appearsWhenItIsComplete()
{
    OutputFile file(path("out.log"));
    QVERIFY(file.open());
    QCOMPARE(file.device().write("new"), 3);
    QVERIFY(!QFileInfo::exists(path("out.log")));
    QCOMPARE(names().size(), 1); // in the same folder, so that the name can be changed at once
    QVERIFY(file.commit());
    QCOMPARE(names(), QStringList{QStringLiteral("out.log")});
    QCOMPARE(content("out.log"), QByteArray("new"));
}

void OutputFileTest::replacesWhatIsThere()
{
    make("out.log", "something longer");
    OutputFile file(path("out.log"));
    QVERIFY(file.open());
    file.device().write("new");
    QCOMPARE(content("out.log"), QByteArray("something longer"));
    QVERIFY(file.commit());
    QCOMPARE(content("out.log"), QByteArray("new"));
    QCOMPARE(names().size(), 1);
}

void OutputFileTest::isGoneWithoutCommit_data()
{
    QTest::addColumn<bool>("discarded");
    QTest::newRow("discarded") << true;
    QTest::newRow("destroyed") << false;
}

void OutputFileTest::isGoneWithoutCommit()
{
    QFETCH(bool, discarded);
    make("out.log", "old");
    {
        OutputFile file(path("out.log"));
        QVERIFY(file.open());
        file.device().write("new");
        if (discarded) {
            file.discard();
            QCOMPARE(names().size(), 1);
        }
    }
    QCOMPARE(names(), QStringList{QStringLiteral("out.log")});
    QCOMPARE(content("out.log"), QByteArray("old"));
}

void OutputFileTest::keepsPermissions()
{
    make("out.log", "old");
    const QFile::Permissions permissions =
        QFile::ReadOwner | QFile::WriteOwner | QFile::ReadUser | QFile::WriteUser | QFile::ReadGroup;
    QVERIFY(QFile::setPermissions(path("out.log"), permissions));
    OutputFile file(path("out.log"));
    QVERIFY(file.open() && file.commit());
    QCOMPARE(QFile::permissions(path("out.log")), permissions);
}

void OutputFileTest::keepsALink()
{
    make("real.log", "old");
    QVERIFY(QFile::link(path("real.log"), path("link.log")));
    OutputFile file(path("link.log"));
    QVERIFY(file.open());
    file.device().write("new");
    QVERIFY(file.commit());
    QVERIFY(QFileInfo(path("link.log")).isSymLink());
    QCOMPARE(content("real.log"), QByteArray("new"));
}

void OutputFileTest::writesWhatALinkLeadsTo()
{
    QVERIFY(QDir(folder->path()).mkdir(QStringLiteral("sub")));
    QVERIFY(QFile::link(QStringLiteral("second.log"), path("first.log")));
    QVERIFY(QFile::link(QStringLiteral("sub/real.log"), path("second.log")));
    OutputFile file(path("first.log"));
    QVERIFY(file.open());
    file.device().write("new");
    QVERIFY(file.commit());
    QVERIFY(QFileInfo(path("first.log")).isSymLink());
    QVERIFY(QFileInfo(path("second.log")).isSymLink());
    QVERIFY(!QFileInfo(path("sub/real.log")).isSymLink());
    QCOMPARE(content("sub/real.log"), QByteArray("new"));
}

void OutputFileTest::refusesALinkToItself()
{
    QVERIFY(QFile::link(QStringLiteral("b.log"), path("a.log")));
    QVERIFY(QFile::link(QStringLiteral("a.log"), path("b.log")));
    OutputFile file(path("a.log"));
    QVERIFY(!file.open());
    QCOMPARE(file.errorText(), QStringLiteral("is a link that leads to itself; name the file to write"));
    QCOMPARE(QDir(folder->path()).entryList(QDir::AllEntries | QDir::System | QDir::Hidden | QDir::NoDotAndDotDot),
             QStringList({QStringLiteral("a.log"), QStringLiteral("b.log")}));
}

void OutputFileTest::refusesWhatIsNoFile_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("error");
    QTest::newRow("folder") << QStringLiteral("/tmp") << QStringLiteral("is a folder; name the file to write");
    QTest::newRow("device") << QStringLiteral("/dev/null")
                            << QStringLiteral("is a pipe, socket or device; write to standard output and redirect it");
}

void OutputFileTest::refusesWhatIsNoFile()
{
    QFETCH(QString, path);
    QFETCH(QString, error);
    OutputFile file(path);
    QVERIFY(!file.open());
    QCOMPARE(file.errorText(), error);
}

void OutputFileTest::refusesAMissingFolder()
{
    OutputFile file(path("missing/out.log"));
    QVERIFY(!file.open());
    QCOMPARE(file.errorText(), QStringLiteral("cannot be written: No such file or directory; check the folder, its "
                                              "permissions and the space left"));
}

void OutputFileTest::tellsWhenItCannotGetItsName()
{
    OutputFile file(path("out.log"));
    QVERIFY(file.open());
    QVERIFY(QDir(folder->path()).mkdir(QStringLiteral("out.log")));
    QVERIFY(!file.commit());
    QCOMPARE(file.errorText(),
             QStringLiteral("cannot be written: Is a directory; check the folder, its permissions and the space left"));
    QCOMPARE(names(), QStringList{QStringLiteral("out.log")});
}

void OutputFileTest::fullDiskHasOneName_data()
{
    QTest::addColumn<bool>("isBuffered");
    QTest::newRow("at once") << false;
    QTest::newRow("out of a buffer") << true;
}

void OutputFileTest::fullDiskHasOneName()
{
#ifdef Q_OS_LINUX
    QFETCH(bool, isBuffered);
    QFile file(QStringLiteral("/dev/full"));
    QVERIFY(file.open(isBuffered ? QIODevice::WriteOnly : QIODevice::WriteOnly | QIODevice::Unbuffered));
    QVERIFY(file.write("x") != 1 || !file.flush());
    QCOMPARE(Files::errorText(file), QStringLiteral("no space left on the disk"));
    QCOMPARE(Files::errorText(ENOSPC), QStringLiteral("no space left on the disk"));
    // Of other failures the system's words stay; where Qt has none, errno has.
    QCOMPARE(Files::errorText(EACCES), QStringLiteral("Permission denied"));
    QCOMPARE(Files::errorText(QFile(), ENOSPC), QStringLiteral("no space left on the disk"));
    QCOMPARE(Files::errorText(QFile(path("file"))), QStringLiteral("the system gives no reason"));
#else
    QSKIP("needs a device that is always full");
#endif
}

void OutputFileTest::takesTheLongestName()
{
    const QByteArray name(255, 'n');
    OutputFile file(path(name.constData()));
    QVERIFY(file.open() && file.commit());
    QCOMPARE(names(), QStringList{QString::fromLatin1(name)});
}

void OutputFileTest::removesWhatNobodyWrites()
{
    make(".canlog-0123abcd", "of a program that was killed");
    make(".canlog-0123abce", "of a program that still runs");
    make(".canlog-remarks!", "somebody's");
    make(".canlog-zip-0123abcd", "an archive's");
    QFile running(path(".canlog-0123abce"));
    QVERIFY(running.open(QIODevice::ReadOnly));
    QCOMPARE(::flock(running.handle(), LOCK_EX | LOCK_NB), 0);
    OutputFile output(path("out.csv"));
    QVERIFY(output.open());
    OutputFile other(path("other.csv")); // does not remove the first one's
    QVERIFY(other.open());
    QCOMPARE(output.device().write("text"), qint64(4));
    QVERIFY2(output.commit(), qPrintable(output.errorText()));
    other.discard();
    QCOMPARE(names(), (QStringList{QStringLiteral(".canlog-0123abce"), QStringLiteral(".canlog-remarks!"),
                                   QStringLiteral(".canlog-zip-0123abcd"), QStringLiteral("out.csv")}));
    QCOMPARE(content("out.csv"), QByteArray("text"));
}

QTEST_GUILESS_MAIN(OutputFileTest)
#include "tst_outputfile.moc"
