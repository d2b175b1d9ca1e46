// SPDX-License-Identifier: Apache-2.0
#include "python/src/pull.h"

#include "common/framelengths.h"
#include "host/store/notes.h"

#include <algorithm>

using Clock = std::chrono::steady_clock;

static constexpr auto checkInterval = std::chrono::milliseconds(100);

Pull::Pull(std::unique_ptr<LogDevice> logDevice, const LogFormat &logFormat, const QString &columns)
    : row(logFormat)
    , source(logDevice->name())
    , columnsText(columns)
    , device(std::move(logDevice))
    , notesGrow(logFormat.makesNotes && !logFormat.notesAreFinal)
{
}

/// Asks only now and then: it is called after each block.
bool Pull::isGoingOn()
{
    if (isStopped)
        return false;
    const auto now = Clock::now();
    if (!isInterrupted || now - latestCheck < checkInterval)
        return true;
    latestCheck = now;
    wasInterrupted |= isInterrupted();
    return !wasInterrupted;
}

void Pull::openReader()
{
    isOpen = true;
    latestCheck = Clock::now();
    device->setWaitCheck([this] { return !isGoingOn(); });
    reader = row.make(row.type, columnsText);
    reader->setProgress([this](qint64, qint64) {
        if (!isGoingOn())
            reader->stop();
    });
    reader->open(device->content(), source);
}

/// Reads the next frame behind `latest`, whose note it may lengthen. False at the end.
bool Pull::pullFrame()
{
    CAN::CanRxMessage &message = latest.message;
    message = CAN::CanRxMessage();
    if (!reader->next(message))
        return false;
    // The old readers of 2.x keep what stands in the column of the length: a code in version 2.1, mostly bytes in 2.0.
    const bool isCode = row.type == DatachunkHelper::PeakTraceV21
                        || (row.type == DatachunkHelper::PeakTraceV20 && !CAN::isFdLength(message.dlc));
    if (isCode && message.isFd && message.dlc < CAN::lengthOfCode.size())
        message.dlc = CAN::lengthOfCode[message.dlc];
    latest.told = reader->toldFields();
    latest.line = reader->lineNumber();
    latest.index = numbers.frames++;
    const std::int64_t time = inMicroseconds(message.timeStamp);
    if (!numbers.firstTime)
        numbers.firstTime = time;
    numbers.lastTime = time;
    return true;
}

/// The next frame whose note is final. False at the end.
bool Pull::takeFinal(PulledFrame &frame, QString &note)
{
    if (isReaderAtEnd)
        return false;
    if (!notesGrow) {
        if (!hasLatest && !pullFrame()) {
            isReaderAtEnd = true;
            return false;
        }
        frame = latest;
        note = hasLatest ? std::exchange(latestNote, QString()) : reader->takeNote();
        hasLatest = false;
        return true;
    }
    if (!hasLatest) {
        hasLatest = pullFrame();
        isReaderAtEnd = !hasLatest;
        if (!hasLatest)
            return false;
        latestNote = reader->takeNote();
    }
    frame = latest;
    note = std::exchange(latestNote, QString());
    hasLatest = pullFrame();
    isReaderAtEnd = !hasLatest;
    latestNote = reader->takeNote();
    if (isReaderAtEnd) // what the log says after its last frame
        joinNote(note, latestNote);
    return true;
}

void Pull::begin()
{
    const std::lock_guard<std::mutex> lock(inUse);
    if (isOpen || how != Ending::None)
        return;
    openReader();
    hasLatest = pullFrame();
    isReaderAtEnd = !hasLatest;
    latestNote = reader->takeNote();
}

std::shared_ptr<Columns> Pull::next(std::size_t size)
{
    const std::lock_guard<std::mutex> lock(inUse);
    if (how != Ending::None)
        return {};
    const auto start = Clock::now();
    if (!isOpen)
        openReader();
    std::shared_ptr<Columns> columns;
    PulledFrame frame;
    QString note;
    while (!isStopped && (!columns || !columns->isFull()) && takeFinal(frame, note)) {
        if (selection && !selection(frame.message))
            continue;
        if (!columns)
            columns = std::make_shared<Columns>(size);
        columns->append(frame, note);
    }
    if (columns)
        columns->finish(timeOffset);
    numbers.seconds += std::chrono::duration<double>(Clock::now() - start).count();
    if (isReaderAtEnd || isStopped)
        end();
    return how == Ending::Stopped || how == Ending::Interrupted ? nullptr : columns;
}

/// Nothing more comes: finds out why, and lets go of the file.
void Pull::end()
{
    finalReport = reader->report();
    finalInfo = reader->info();
    const QString fault = device->fault();
    if (finalReport.readError.isEmpty() && !isStopped)
        finalReport.readError = fault;
    why = reader->errorString();
    if (isStopped) {
        how = Ending::Stopped;
    } else if (device->hasException() || wasInterrupted || reader->interrupted()) {
        how = Ending::Interrupted;
    } else if (!finalReport.readError.isEmpty()) {
        how = Ending::Unreadable;
        why = device->withAdvice(finalReport.readError);
    } else if (reader->failed()) {
        how = Ending::Format;
    } else {
        how = Ending::AtEnd;
    }
    numbers.bytes = device->bytesRead();
    reader.reset();
    device->close();
}

void Pull::select(const Selection &newSelection)
{
    const std::lock_guard<std::mutex> lock(inUse);
    selection = newSelection;
}

void Pull::setTimeOffset(std::optional<std::int64_t> offset)
{
    const std::lock_guard<std::mutex> lock(inUse);
    timeOffset = offset;
}

void Pull::stop()
{
    isStopped = true; // seen after each block, and by whoever waits for a pipe
    const std::unique_lock<std::mutex> lock(inUse, std::try_to_lock);
    if (!lock.owns_lock() || how != Ending::None)
        return;
    how = Ending::Stopped;
    if (reader) {
        finalReport = reader->report();
        finalInfo = reader->info();
        reader.reset();
    }
    device->close();
}

Pull::Ending Pull::ending()
{
    const std::lock_guard<std::mutex> lock(inUse);
    return how;
}

QString Pull::problem()
{
    const std::lock_guard<std::mutex> lock(inUse);
    return why;
}

ImportReport Pull::report()
{
    const std::lock_guard<std::mutex> lock(inUse);
    return reader ? reader->report() : finalReport;
}

LogInfo Pull::info()
{
    const std::lock_guard<std::mutex> lock(inUse);
    return reader ? reader->info() : finalInfo;
}

Pull::Sums Pull::sums()
{
    const std::lock_guard<std::mutex> lock(inUse);
    Sums result = numbers;
    if (reader)
        result.bytes = device->bytesRead();
    return result;
}
