// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "python/src/columns.h"
#include "python/src/logdevice.h"

#include "common/importreport.h"
#include "common/loginfo.h"
#include "readers/formats.h"
#include "readers/framereader.h"

#include <QString>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>

/// Which frames of a log are wanted.
using Selection = std::function<bool(const CAN::CanRxMessage &message)>;

/**
 * One reading of one log, from its beginning to its end, advanced by whoever asks for rows. Everything but stop() waits
 * for a call in another thread to return; none of it needs Python's lock, which PythonDevice takes for itself.
 */
class Pull
{
public:
    /// Why there are no more rows.
    enum class Ending {
        None,        ///< there may be more
        AtEnd,       ///< all was read
        Format,      ///< the log is not of this format from some line on
        Unreadable,  ///< the file could not be read to its end
        Interrupted, ///< by a Python exception, which the device or the check of signals has kept
        Stopped,     ///< by stop()
    };

    /// @p logDevice is at its beginning and of @p logFormat.
    Pull(std::unique_ptr<LogDevice> logDevice, const LogFormat &logFormat, const QString &columns);

    /// Reads on to the first frame, after which the log has told what its header says.
    void begin();
    /// The next rows, @p size of them, fewer at the end; null when there are none, ending() tells why.
    std::shared_ptr<Columns> next(std::size_t size);
    /// From now on, only frames that pass @p newSelection become rows.
    void select(const Selection &newSelection);
    /// What turns the times of the log into microseconds since 1970.
    void setTimeOffset(std::optional<std::int64_t> offset);

    /// Has next() return at once, also when it is running; there will be no more rows, and the file is closed. May be
    /// called in any thread.
    void stop();

    /// Asked a few times a second while the log is read; when it is true, the reading ends as interrupted.
    void setInterruptionCheck(const std::function<bool()> &check) { isInterrupted = check; }

    Ending ending();
    QString problem();
    ImportReport report();
    LogInfo info();
    /// For the selection, which is asked while next() runs.
    LogInfo infoWhileReading() const { return reader ? reader->info() : finalInfo; }

    /// What is known of the frames read so far, whether they became rows or not.
    struct Sums {
        std::int64_t frames = 0;
        std::optional<std::int64_t> firstTime, lastTime;
        double seconds = 0; ///< spent reading
        std::int64_t bytes = 0;
    };
    Sums sums();

    /// Raises what a Python file object has raised, if it has. Needs Python's lock.
    bool restoreException() { return device->restoreException(); }

    const QString &name() const { return source; }
    const LogFormat &format() const { return row; }

private:
    Q_DISABLE_COPY_MOVE(Pull)

    bool isGoingOn();
    void openReader();
    bool pullFrame();
    bool takeFinal(PulledFrame &frame, QString &note);
    void end();

    std::mutex inUse;
    std::atomic<bool> isStopped{false};

    const LogFormat row;
    const QString source;
    const QString columnsText;
    std::unique_ptr<LogDevice> device;
    std::unique_ptr<FrameReader> reader;
    Selection selection;
    std::optional<std::int64_t> timeOffset;
    std::function<bool()> isInterrupted;
    std::chrono::steady_clock::time_point latestCheck;

    bool wasInterrupted = false;
    bool isOpen = false;
    Ending how = Ending::None;
    QString why;
    ImportReport finalReport;
    LogInfo finalInfo;

    // The frame read last, whose note may still grow.
    PulledFrame latest;
    QString latestNote;
    bool hasLatest = false;
    bool isReaderAtEnd = false;
    const bool notesGrow;
    Sums numbers;
};
