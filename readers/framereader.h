// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/canloghandler_export.h"
#include "common/canrxmessage.h"
#include "common/importreport.h"
#include "common/loginfo.h"

#include <QCoreApplication>
#include <QString>

#include <atomic>
#include <functional>
#include <memory>
#include <utility>

class QFile;
class QIODevice;

/**
 * Which fields of a frame its log tells. What is not told has its first value in the record, which is no statement of
 * the log: null is not zero.
 */
struct ToldFields {
    bool channel = false;
    bool direction = false;      ///< isTx
    bool bitRateSwitch = false;  ///< isBrs
    bool errorStateFlag = false; ///< isEsi
};

/**
 * A log that is read by pulling: each next() reads on to the next frame and no further, so whoever pulls can stop at
 * any frame. Of the log it keeps one block and one line; a reader is made by makeReader(), see readers/formats.h.
 *
 *     const std::unique_ptr<FrameReader> reader = makeReader(DatachunkHelper::SocketCanDump);
 *     if (reader->open(path)) {
 *         while (reader->next())
 *             use(reader->frame(), reader->takeNote());
 *     }
 *     if (reader->failed())
 *         complain(reader->errorString());
 *
 * One object reads one log after the other, in one thread at a time; stop() alone is for any thread.
 */
class CANLOGHANDLER_EXPORT FrameReader
{
    Q_DECLARE_TR_FUNCTIONS(FrameReader)

public:
    enum class State {
        Closed,      ///< nothing was opened yet
        Reading,     ///< there may be more frames
        AtEnd,       ///< all was read that there is to be read by the rules of the format
        Failed,      ///< the log could not be opened, or is not of this format from some line on
        Interrupted, ///< by stop(), or by the interruption of the reading thread
    };
    using Progress = std::function<void(qint64 bytesRead, qint64 bytesTotal)>;

    virtual ~FrameReader();

    /// Opens the file @p path; what was read before is forgotten. Reads nothing yet, so that a pipe does not block
    /// here. When the file cannot be opened: false, and the state is Failed.
    bool open(const QString &path);
    /**
     * The same for @p device, which is called @p name in error texts. It is read from where it stands, must be open for
     * reading, is not owned and must live until the last next(). It may be sequential: a line is given as soon as the
     * device has given its end, and the device ends when it has nothing to read and waitForReadyRead() is false.
     */
    bool open(QIODevice &device, const QString &name);

    /// Reads on to the next frame. False when there is none, state() tells why; then frame() has no meaning.
    bool next()
    {
        record = CAN::CanRxMessage();
        return next(record);
    }
    /// The same into @p message, which must be empty, for those who keep the frames; after false it has no meaning.
    /// Frames are numbered from 0, but where the format brings numbers.
    bool next(CAN::CanRxMessage &message)
    {
        if (currentState != State::Reading)
            return false;
        if (!note.isEmpty())
            note = QString();
        if (!read(message))
            return end();
        if (!bringsNumbers)
            message.messageIndex = quint32(frames);
        anyFd |= message.isFd;
        ++frames;
        return true;
    }
    /// The frame that next() read, valid until it is called again.
    const CAN::CanRxMessage &frame() const { return record; }

    /// Whether takeNote() has something to give.
    bool hasNote() const { return !note.isEmpty(); }
    /// What the log says beside the frame read last; without a further frame, what it said after the last one.
    /// Empty when it says nothing, and once it was taken.
    QString takeNote() { return std::exchange(note, QString()); }
    /// What the log tells of the frame read last.
    virtual ToldFields toldFields() const { return {}; }
    /// The line of the frame read last, from 1; 0 in a format without lines.
    virtual qint64 lineNumber() const { return 0; }

    State state() const { return currentState; }
    bool atEnd() const { return currentState == State::AtEnd; }
    bool failed() const { return currentState == State::Failed; }
    bool interrupted() const { return currentState == State::Interrupted; }
    /// Why reading failed, for users. A log that was read all the same may have left a complaint, too; otherwise empty
    /// when it did not fail. What was read but not understood stands in report().
    QString errorString() const;

    /// How many frames were read so far.
    qint64 frameCount() const { return frames; }
    /// Whether CAN FD frames were seen so far, among them those that are not read from this format.
    bool fdSeen() const { return anyFd; }
    /// What became of the lines so far: complete once next() was false. It may say that the file could not be read to
    /// its end, which fails no reader.
    virtual ImportReport report() const = 0;
    /// What the log has said of itself so far.
    virtual LogInfo info() const { return {}; }

    /// @p newProgress is called after each block that was read, in the reading thread; the total is 0 when it is not
    /// known. An empty function ends that.
    void setProgress(const Progress &newProgress) { progress = newProgress; }
    /// For a live log that comes from a device: @p question tells whether more of it arrives within so many
    /// milliseconds. Then a frame is given as soon as it is there, and what the log says after it comes with a later
    /// one. An empty function ends that; a pipe that is opened by its path is asked without it.
    void setArrival(const std::function<bool(int milliseconds)> &question) { arrival = question; }
    /// Has next() give up at the next block, 16 KiB at the most, with the state Interrupted. May be called in any
    /// thread and in the progress function; open() forgets it. QThread::requestInterruption() on the reading thread
    /// does the same.
    void stop() { stopRequested = true; }

protected:
    /// @p formatBringsNumbers: read() sets the messageIndex of each frame.
    explicit FrameReader(bool formatBringsNumbers = false);

    /// Forgets the log before and makes ready for @p device; reads nothing yet.
    virtual void start(QIODevice &device) = 0;
    /// Reads the next frame into @p message, which is empty, and its note. False at the end of the log, after fail(),
    /// and when reading was interrupted.
    virtual bool read(CAN::CanRxMessage &message) = 0;

    /// The log is not of this format from here on, for the reason @p text; read() is to return false then.
    void fail(const QString &text);
    /// Sets errorString(), without failing.
    void complain(const QString &text) { errorText = text; }
    /// To be called after each block. False when reading is to end at once.
    bool blockRead(qint64 bytesRead, qint64 bytesTotal);
    /// Whether blockRead() was false.
    bool wasStopped() const { return stopped; }
    /// What the log is called in error texts: its path as it was given, or the name of the device.
    QString name() const { return logName; }
    /// Whether the log was named by its path.
    bool isNamedByPath() const { return file != nullptr; }

    std::function<bool(int milliseconds)> arrival;
    /// Gathers what belongs to the next frame, and what comes after the last.
    QString note;
    bool anyFd = false;

private:
    Q_DISABLE_COPY_MOVE(FrameReader)

    CANLOGHANDLER_NO_EXPORT void forget(const QString &newName);
    bool end();

    const bool bringsNumbers;
    State currentState = State::Closed;
    qint64 frames = 0;
    CAN::CanRxMessage record;
    std::unique_ptr<QFile> file; ///< that was opened by its path
    QString logName;
    QString errorText;
    Progress progress;
    std::atomic<bool> stopRequested{false};
    bool stopped = false;
};
