// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "readers/blfobjects.h"

#include <QDateTime>
#include <QString>

#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

class QIODevice;
struct z_stream_s; // of zlib

namespace Blf
{

/// What is wrong with a piece of the file.
enum class Fault {
    None,
    Stray,         ///< `count` bytes are no object
    AnotherLog,    ///< the same, and they begin as a file does
    WrongSize,     ///< of an object
    CutShort,      ///< the file ends `count` bytes too early
    UnknownMethod, ///< of compression: `count`
    Damaged,       ///< the compressed data
    TooMuch,       ///< it inflates to more than a container may hold, or many times what it says
    NoMemory,
    StatedSize, ///< is not what it inflates to; all of that is there
};

/// A piece of the file between its headers and its end.
struct Piece {
    enum class Kind {
        Content, ///< what a container holds: a part of the stream of objects
        Object,  ///< one that stands outside of containers; of a long one the beginning
        Damage,  ///< nothing but its fault
    };
    Kind kind = Kind::Damage;
    Fault fault = Fault::None;
    qint64 count = 0;       ///< what the fault says
    qint64 offset = 0;      ///< in the file
    bool isBroken = false;  ///< something of the stream is missing behind it
    bool isTooLong = false; ///< an object of which only the beginning is here

    /// Before the content there is room for the rest of the piece before, so that nothing else needs to be moved.
    static constexpr qint64 room = maxKeptSize + 384;
    char *begin = nullptr; ///< of the content
    char *end = nullptr;

    // Until it is inflated, and for those that do it
    enum class State { Waiting, InWork, Done };
    State state = State::Done;
    quint16 method = 0;
    qint64 statedSize = 0;
    std::vector<char> input; ///< behind `room` bytes
    std::vector<char> output;
    qint64 memory = 0; ///< how many bytes it takes at most
};

/// What the header of a file says.
struct FileHeader {
    bool isFile = false;     ///< it begins as such a file does
    bool isCutShort = false; ///< the file ends in it
    qint64 missing = 0;      ///< then
    bool isStartStored = false;
    QDateTime start;           ///< invalid when it is no date
    quint32 writerVersion = 0; ///< 4070100 is 4.7.1.0; of some writers anything
    qint64 objectCount = 0;    ///< 0: not known
};

/**
 * Reads a file piece by piece: hops from container to container, and inflates the next ones in other threads while the
 * piece at hand is looked at, since no container needs another one. A pipe is not read ahead, so that what a recorder
 * writes is there when it is written.
 *
 * Whatever the file says of its sizes, there are never more than some 30 MiB in memory.
 */
class Pieces
{
public:
    /// Called after each block with the bytes read so far; false ends the reading.
    using BlockRead = std::function<bool(qint64 bytesRead)>;
    static constexpr int piecesAhead = 4;

    /// @p source, which is not owned, is open for reading, at its beginning, and may be sequential.
    Pieces(QIODevice &source, BlockRead newBlockRead);
    ~Pieces();

    /// To be called first, once.
    FileHeader readHeader();
    /// The next piece, valid until the next call; null at the end, after a read error and when the reading was ended.
    Piece *next();

    /// Whether next() has to read from the device first, which on a pipe may take long.
    bool mustRead() const { return queue.empty() && !isAtEnd; }
    bool isStopped() const { return stopped; }  ///< by BlockRead
    QString readError() const { return error; } ///< why the device could not be read to its end; empty when it was

private:
    Q_DISABLE_COPY_MOVE(Pieces)

    // Finding them
    bool fill(qint64 wanted);
    bool isRoomAhead() const;
    void scan();
    void takeFound(const Found &found);
    void takeContainer(const Found &found);
    void takeStray(const Found &found);
    void endStray(bool isEnd);
    void consume(const char *upTo);
    qint64 skip(qint64 size);
    Piece &append(Piece::Kind kind, Fault fault, const char *object);

    // Inflating them
    void prepareFront();
    Piece *findWaiting();
    bool isWorthThreads() const;
    void startThreads();
    void work();

    QIODevice &device;
    const BlockRead blockRead;
    const bool isSequential;
    std::vector<char> window; ///< what is read and not looked at yet, from `begin` to `end`
    std::size_t begin = 0;
    std::size_t end = 0;
    qint64 bytesRead = 0;
    bool isAtEnd = false; ///< of the device
    bool isScanned = false;
    bool stopped = false;
    QString error;
    qint64 strayCount = 0; ///< of bytes that are no object, so far
    qint64 strayOffset = 0;
    bool isStrayZero = false;
    bool isStrayLog = false;
    bool isAfterWrongSize = false; ///< what follows belongs to an object that was blamed

    std::deque<std::unique_ptr<Piece>> queue;
    std::unique_ptr<Piece> current;
    std::vector<std::unique_ptr<Piece>> spare;
    std::unique_ptr<z_stream_s> stream; ///< of the reading thread

    std::mutex mutex; ///< for the queue and the states of what is in it
    std::condition_variable workCame;
    std::condition_variable workDone;
    std::vector<std::thread> threads;
    bool isEnding = false;
};

} // namespace Blf
