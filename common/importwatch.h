#pragma once

#include "common/importreport.h"
#include "common/text/linereader.h"
#include "common/text/numbers.h"

#include <functional>

/**
 * Watches over one file while it is imported: counts its lines, gathers what is wrong with them for the report, tells
 * how far reading has come, and notices when it is to stop.
 *
 * Loaders read the numbers of a line through it. A sound line costs no more than without.
 */
class ImportWatch
{
public:
    using Reason = ImportReport::Reason;
    using Progress = std::function<void(qint64 bytesRead, qint64 bytesTotal)>;

    /// Called after each block that was read; @p bytesTotal is 0 when it is not known.
    void setProgress(const Progress &newProgress) { progress = newProgress; }
    /// Asked after each block: when it says no, the import counts as interrupted.
    void setContinuation(const std::function<bool()> &mayContinue) { continuation = mayContinue; }

    /// Forgets the file before.
    void start();
    /// To be called for each line, before anything else is said of it.
    void beginLine(QStringView line)
    {
        if (isFaulty)
            settle();
        begin = line.begin();
        end = line.end();
        ++report.lines;
    }
    /// The line stays a message, or becomes none by the rules of the format; what is wrong with it stands at @p where.
    /// Only the first fault of a line counts.
    void doubt(QStringView where, Reason why = Reason::NotANumber)
    {
        if (!isFaulty)
            note(where, why);
    }
    /// The line gives no message, although it should, because of what stands at @p where.
    void drop(Reason why, QStringView where)
    {
        note(where, why);
        isDropped = true;
    }
    /// The line is no frame by the rules of the format, whatever could not be read in it.
    void pass() { isFaulty = isDropped = false; }

    /// What the functions of the same names give. A text that is no number is noted at @p where.
    quint32 readUnsigned(QStringView text, int base) { return readUnsigned(text, base, text); }
    quint32 readUnsigned(QStringView text, int base, QStringView where)
    {
        bool ok = true;
        const quint32 number = ::readUnsigned(text, base, &ok);
        if (!ok)
            doubt(where);
        return number;
    }
    qint32 readSigned(QStringView text, int base)
    {
        bool ok = true;
        const qint32 number = ::readSigned(text, base, &ok);
        if (!ok)
            doubt(text);
        return number;
    }
    quint8 readByte(QStringView text, int base) { return readByte(text, base, text); }
    quint8 readByte(QStringView text, int base, QStringView where)
    {
        bool ok = true;
        const quint8 byte = ::readByte(text, base, &ok);
        if (!ok)
            doubt(where);
        return byte;
    }
    CanTimeStamp readSeconds(QStringView text) { return readSeconds(text, text); }
    CanTimeStamp readSeconds(QStringView text, QStringView where)
    {
        bool ok = true;
        const CanTimeStamp time = ::readSeconds(text, &ok);
        if (!ok)
            doubt(where);
        return time;
    }

    /// For LineReader: tells the progress in @p file. False when reading is to stop.
    LineReader::BlockRead blockRead(const QFile &file);
    /// To be called after the last line, with LineReader::readError().
    void setReadError(const QString &error) { report.readError = error; }
    /// Whether the importing thread was asked to stop, see QThread::requestInterruption().
    bool isInterrupted() const { return interrupted; }

    /// The report on the file that was read, which gave @p messageCount messages.
    ImportReport finishedReport(qint64 messageCount);

private:
    void note(QStringView where, Reason why);
    void settle();

    ImportReport report;
    Progress progress;
    std::function<bool()> continuation;
    bool interrupted = false;

    // The current line
    const QChar *begin = nullptr;
    const QChar *end = nullptr;
    bool isFaulty = false;
    bool isDropped = false;
    int column = 0;
    Reason reason = Reason::NotANumber;
};

/// The lines of a file under watch.
class WatchedLines
{
public:
    /// Neither is owned; both must live as long.
    WatchedLines(QFile &file, ImportWatch &importWatch)
        : reader(file, importWatch.blockRead(file))
        , watch(importWatch)
    {
    }
    bool next()
    {
        if (!reader.next()) {
            watch.setReadError(reader.readError());
            return false;
        }
        watch.beginLine(reader.line());
        return true;
    }
    QStringView line() const { return reader.line(); }

private:
    LineReader reader;
    ImportWatch &watch;
};
