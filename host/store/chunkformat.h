// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/canrxmessage.h"

#include <QByteArray>
#include <QMap>
#include <QString>
#include <QVector>

#include <functional>

class QDataStream;
class QFile;
class QIODevice;

/**
 * The bytes of one data chunk (`*.qcl`): everything that knows them is here. docs/chunk-format.md describes them.
 *
 * What is read may come from anywhere: no field is believed before it was checked, and memory grows with the bytes
 * that are really there, never with what a field says.
 */
namespace ChunkFormat
{

constexpr int maximumMessages = 100000;
/// Chunk numbers have at most 15 digits, so that a reader that takes them as a double gets them exactly.
constexpr quint64 maximumNumber = 999999999999999;

/// The notes of one chunk take at most so many bytes.
constexpr qint64 maximumNotesSize = 256 * 1024 * 1024;

/// Why something is no valid chunk, or could not be read or written.
class Fault
{
public:
    enum Kind {
        None,
        TooShort,
        TooLong,
        NoChunk,
        NoPlainFile,
        UnknownVersion,
        WrongCount,
        Contradiction,
        WrongChecksum,
        NotesTooLong,
        Device, ///< what the device says
    };

    Fault() = default;
    Fault(Kind kind, const QString &detailText = QString()) // NOLINT(google-explicit-constructor): `return TooShort;`
        : found(kind)
        , detail(detailText)
    {
    }
    Kind kind() const { return found; }
    bool isEmpty() const { return found == None; }
    /// In a few words; empty for None.
    QString text() const;
    operator QString() const { return text(); } // NOLINT(google-explicit-constructor): most callers only tell it

private:
    Kind found = None;
    QString detail; ///< the number or text that the kind speaks of
};

/// What a note takes of maximumNotesSize.
qint64 sizeOfNote(const QString &text);

/// What stands before the records: enough to list a chunk without reading it.
struct Summary {
    quint64 number = 0; ///< unique in its store; chunks are in order by it
    int messageCount = 0;
    CanTimeStamp firstTime; ///< earliest time stamp
    CanTimeStamp lastTime;  ///< latest time stamp
    int noteCount = 0;      ///< messages that have a note
    bool fdSeen = false;    ///< CAN FD frames are among the messages
};

/// One whole chunk in memory.
struct Chunk {
    Summary summary;
    QVector<CAN::CanRxMessage> messages;
    QMap<int, QString> notes; ///< by position in `messages`, not by messageIndex, which need not be unique
};

/// Gets one message and its note (empty: none); returns false to stop.
using Visitor = std::function<bool(const CAN::CanRxMessage &message, const QString &note)>;

/// Whether @p a is earlier than @p b. Microseconds above 999999 count as what they are: more seconds.
bool isEarlier(const CanTimeStamp &a, const CanTimeStamp &b);

/// Writes all of @p bytes. False with the device's error set when that fails: after a write that was cut short, only
/// the next one says why.
[[nodiscard]] bool writeAll(QIODevice &device, const QByteArray &bytes);

/// Encodes one chunk: add its 1 to 100000 messages, then write it. Keeps the encoded records only.
class Encoder
{
public:
    /// Makes room for about @p messageCount messages.
    explicit Encoder(int messageCount);

    void add(const CAN::CanRxMessage &message);

    /// Writes the chunk with @p number and @p notes (by position, none of them empty) to @p device. Part of
    /// the chunk may have been written when it fails.
    Fault write(QIODevice &device, quint64 number, const QMap<int, QString> &notes);

    /// Describes the chunk; number and notes are known after write().
    const Summary &summary() const { return content; }
    /// What the chunk ends in, after write().
    quint32 checksum() const { return writtenChecksum; }

private:
    quint32 writtenChecksum = 0;
    QByteArray records;
    Summary content;
};

/// Reads one chunk from the current position of @p stream, whatever its byte order and version are set to, and leaves
/// the stream after the chunk. When this is no valid chunk, @p chunk is unspecified and the stream's status is set.
[[nodiscard]] Fault readChunk(QDataStream &stream, Chunk &chunk);

/// Reads the chunk that is the whole of @p file, which is open for reading and at its beginning. Result as above;
/// bytes after the chunk are a fault.
[[nodiscard]] Fault readChunk(QFile &file, Chunk &chunk);

/// Reads the chunk file @p path. Result as above; only a plain file is opened.
[[nodiscard]] Fault readChunkFile(const QString &path, Chunk &chunk);

/// Visits the messages of @p chunk in their order; false when the visitor stopped it.
bool forEachMessage(const Chunk &chunk, const Visitor &visitor);

/// Reads the summary alone of the chunk that is the whole of @p file, and checks it against the file's size. Some 200
/// bytes are read; damage behind them stays unseen. Result as above.
[[nodiscard]] Fault readSummary(QFile &file, Summary &summary);

/// Whether @p device, which is open for reading and at its beginning, begins as a chunk does: of any format version,
/// and damaged or not behind its magic number. False when it ends before its summary does.
bool beginsAsChunk(QIODevice &device);

} // namespace ChunkFormat
