// SPDX-License-Identifier: Apache-2.0
#include "readers/bytelogreader.h"

#include "readers/notetext.h"

#include <algorithm>

#ifdef Q_OS_UNIX
#include <poll.h>
#endif

namespace
{

/// The number of the character at @p size bytes into @p line, from 1.
int columnAt(std::string_view line, std::size_t size)
{
    const std::string_view before = line.substr(0, size);
    return 1 + int(std::count_if(before.begin(), before.end(), [](char c) { return (quint8(c) & 0xC0) != 0x80; }));
}

} // namespace

void ByteLogReader::start(QIODevice &device)
{
    const qint64 total = device.isSequential() ? 0 : device.size();
    lines.emplace(device, [this, total](qint64 bytesRead) { return blockRead(bytesRead, total); });
    const auto *const openFile = qobject_cast<QFileDevice *>(&device);
    pipe = openFile && openFile->isSequential() ? openFile->handle() : -1;
    isPending = isFaulty = isAhead = false;
    ahead = {};
    frameLine = 0;
    counts = {};
    told = {};
    logInfo = {};
    begin();
}

bool ByteLogReader::read(CAN::CanRxMessage &message)
{
    if (isAhead) {
        message = ahead;
        told = plainTold;
        frameLine = lines->number();
        isAhead = false;
    } else if (!readOn(message)) {
        return false;
    }
    // What comes now may belong to this frame.
    while (!readAhead() && mayWait() && advance()) {
        if (kind == Kind::Frame) {
            isPending = true;
            break;
        }
    }
    return true;
}

const char *ByteLogReader::readPlain(std::string_view, CAN::CanRxMessage &)
{
    return nullptr;
}

const char *ByteLogReader::readPlainBytes(const char *at, int length, CAN::CanRxMessage &message)
{
    quint32 all = 0;
    const auto byte = [at, &all](int i) {
        const char *const place = at + 3 * i;
        const quint32 value = ByteNumbers::highDigits[quint8(place[1])] | ByteNumbers::lowDigits[quint8(place[2])];
        all |= value | quint32(quint8(place[0] ^ ' ')) << 8;
        return quint64(value & 0xFF);
    };
    // In one go, because the whole message is copied soon.
    quint64 eight = 0;
    if (length >= 8) {
        eight = byte(0) | byte(1) << 8 | byte(2) << 16 | byte(3) << 24 | byte(4) << 32 | byte(5) << 40 | byte(6) << 48
                | byte(7) << 56;
        for (int i = 8; i < length; ++i)
            message.data[i] = quint8(byte(i));
    } else {
        for (int i = 0; i < length; ++i)
            eight |= byte(i) << (8 * i);
    }
    qToLittleEndian(eight, message.data);
    message.dlc = quint8(length);
    return all <= 0xFF ? at + 3 * length : nullptr;
}

/// Reads the next line, where it is a plain frame, whole instead of only looking at it.
bool ByteLogReader::readAhead()
{
    const std::string_view rest = lines->rest();
    if (rest.empty())
        return false;
    constexpr quint8 shortData = 8; // of longer ones all bytes
    if (ahead.dlc > shortData)
        ahead = {};
    const char *const behind = readPlain(rest, ahead);
    if (!behind || behind > rest.data() + rest.size()) {
        ahead = {};
        return false;
    }
    lines->take(behind);
    ++counts.lines;
    isAhead = true;
    return true;
}

bool ByteLogReader::readOn(CAN::CanRxMessage &message)
{
    for (;;) {
        if (!isPending && !advance())
            return false;
        isPending = false;
        if (kind != Kind::Frame)
            continue;
        frameLine = lines->number();
        if (readFrame(message))
            return true;
        message = CAN::CanRxMessage();
    }
}

/// Moves to the next line and looks at it. False at the end.
bool ByteLogReader::advance()
{
    if (!lines->next()) {
        counts.readError = lines->readError();
        return false;
    }
    ++counts.lines;
    isFaulty = false;
    if (lines->isCut()) {
        kind = drop(tr("the line is longer than %1 characters").arg(ByteLines::maxLineLength));
        return true;
    }
    kind = look(lines->line());
    return true;
}

/// Whether the next line can be waited for: always in a file. Whoever looks at a live log wants each frame as it comes,
/// and gets what the log says later with a later frame.
bool ByteLogReader::mayWait() const
{
    constexpr int milliseconds = 100; // what belongs together is written together
    if (arrival && lines->mustRead())
        return arrival(milliseconds);
#ifdef Q_OS_UNIX
    if (pipe >= 0 && lines->mustRead()) {
        pollfd state{pipe, POLLIN, 0};
        return poll(&state, 1, milliseconds) != 0;
    }
#endif
    return true;
}

void ByteLogReader::addNote(const QString &text)
{
    if (!NoteText::add(note, text))
        doubt(NoteText::fullText());
}

ByteLogReader::Kind ByteLogReader::drop(const QString &text, std::string_view where)
{
    ++counts.droppedLines;
    addFault(ImportReport::Reason::BrokenLine, text, where);
    return Kind::Fault;
}

ByteLogReader::Kind ByteLogReader::dropUnread(const QString &text, std::string_view where)
{
    ++counts.droppedLines;
    addFault(ImportReport::Reason::NotRead, text, where);
    return Kind::Fault;
}

void ByteLogReader::doubt(const QString &text, std::string_view where)
{
    addFault(ImportReport::Reason::BrokenLine, text, where);
}

void ByteLogReader::addFault(ImportReport::Reason reason, const QString &text, std::string_view where)
{
    if (isFaulty)
        return;
    isFaulty = true;
    ++counts.faultyLines;
    if (counts.faults.size() == ImportReport::maxFaults)
        return;
    const std::string_view line = lines->line();
    const bool isInside = where.data() && where.data() >= line.data() && where.data() <= line.data() + line.size();
    const std::size_t offset = isInside ? std::size_t(where.data() - line.data()) : line.size();
    counts.faults.append({lines->number(), columnAt(line, offset), reason, text});
}

ImportReport ByteLogReader::report() const
{
    ImportReport report = counts;
    report.messages = frameCount();
    report.otherLines = report.lines - report.messages - report.droppedLines - (isPending || isAhead ? 1 : 0);
    return report;
}
