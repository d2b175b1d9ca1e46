// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QFile>
#include <QProcess>
#include <QProcessEnvironment>
#include <QScopedPointer>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <QtTest>

/// What a run of the program gave.
struct Outcome {
    int status = -1; ///< -1: it did not end by itself
    QByteArray out;
    QByteArray err;
};

/// The words of a command line.
inline QStringList words(const char *line)
{
    return QString::fromUtf8(line).split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

/// The first usage line of a help text, however it is broken.
inline QByteArray usageLine(const QByteArray &help)
{
    const QList<QByteArray> lines = help.split('\n');
    QByteArray usage = lines.first();
    for (int i = 1; i < lines.size() && lines.at(i).startsWith("           "); ++i)
        usage += ' ' + lines.at(i).trimmed();
    return usage + '\n';
}

/// Runs the real program in a folder of its own, for tests that look at nothing but what a shell sees.
class CanlogProgram
{
protected:
    /// Makes a fresh folder; to be called before each test.
    void makeFolder()
    {
        folder.reset(new QTemporaryDir);
        QVERIFY(folder->isValid());
    }

    Outcome run(const QString &program, const QStringList &arguments,
                const QProcessEnvironment &environment = QProcessEnvironment::systemEnvironment())
    {
        QProcess process;
        process.setWorkingDirectory(folder->path());
        process.setProcessEnvironment(environment);
        process.start(program, arguments);
        if (!process.waitForFinished(120000) || process.exitStatus() != QProcess::NormalExit)
            return {-1, process.readAllStandardOutput(), process.readAllStandardError()};
        return {process.exitCode(), process.readAllStandardOutput(), process.readAllStandardError()};
    }
    Outcome canlog(const QStringList &arguments) { return run(QStringLiteral(CANLOG_PROGRAM), arguments); }
    /// Runs @p script in a shell, in which "$canlog" is the program.
    Outcome shell(const QString &script)
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("canlog"), QStringLiteral(CANLOG_PROGRAM));
        return run(QStringLiteral("sh"), {QStringLiteral("-c"), script}, environment);
    }

    QString path(const QString &name) const { return folder->filePath(name); }
    /// Writes a file into the folder; returns its name.
    QString write(const QString &name, const QByteArray &content) const
    {
        QFile file(path(name));
        if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
            qFatal("cannot write %s", qPrintable(file.fileName()));
        return name;
    }

    QScopedPointer<QTemporaryDir> folder; ///< the current folder of the program
};
