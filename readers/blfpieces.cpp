// SPDX-License-Identifier: Apache-2.0
#include "readers/blfpieces.h"

#include <QIODevice>
#include <zlib.h>

#include <algorithm>
#include <cstring>
#include <new>
#include <system_error>
#include <utility>

namespace Blf
{

namespace
{

constexpr qint64 blockSize = 65536;
constexpr qint64 mostAhead = 7 * mib; ///< bytes that pieces may take before no other one is begun
constexpr qint64 spareSize = 2 * mib; ///< a larger piece does not serve again
constexpr qint64 leastHeader = 72;
constexpr qint64 longestHeader = 65536;

enum Method : quint16 { Stored = 0, Zlib = 2 };

/// What a container may inflate to that says @p stated bytes: writers are wrong about that, but not by orders.
qint64 contentLimit(qint64 stated)
{
    return std::clamp(4 * stated, mib, maxContentSize);
}

/// What @p compressed bytes can inflate to at the most.
qint64 highestContent(qint64 compressed)
{
    constexpr qint64 highestRatio = 1032;
    return highestRatio * compressed + 64;
}

/// The date of eight numbers: year, month, day of the week, day, hour, minute, second, millisecond.
QDateTime dateAt(const char *bytes)
{
    const auto number = [bytes](int index) { return int(u16At(bytes, 2 * index)); };
    const QDate date(number(0), number(1), number(3));
    const QTime time(number(4), number(5), number(6), number(7));
    return date.isValid() && time.isValid() ? QDateTime(date, time) : QDateTime();
}

void breakAt(Piece &piece, Fault fault)
{
    piece.fault = fault;
    piece.isBroken = true;
}

/// Inflates into the output as far as it goes. Returns what zlib said last.
int inflateInto(std::vector<char> &output, qint64 limit, z_stream &stream)
{
    for (;;) {
        const std::size_t used = std::size_t(Piece::room) + stream.total_out;
        stream.next_out = reinterpret_cast<Bytef *>(output.data() + used);
        stream.avail_out = uInt(output.size() - used);
        const int result = inflate(&stream, Z_FINISH);
        if (result != Z_OK && result != Z_BUF_ERROR)
            return result;
        if (stream.avail_out > 0 || qint64(stream.total_out) > limit)
            return Z_BUF_ERROR;
        output.resize(std::min(output.size() * 2, std::size_t(Piece::room + limit + 1)));
    }
}

void inflateContent(Piece &piece, z_stream &stream)
{
    const qint64 compressed = qint64(piece.input.size()) - Piece::room;
    const qint64 limit = contentLimit(piece.statedSize);
    stream.next_in = reinterpret_cast<Bytef *>(piece.input.data() + Piece::room);
    stream.avail_in = uInt(compressed);
    const qint64 expected = std::min({piece.statedSize, highestContent(compressed), limit}) + 1;
    if (qint64(piece.output.size()) < Piece::room + expected)
        piece.output.resize(std::size_t(Piece::room + expected));
    const int result = inflateInto(piece.output, limit, stream);
    const auto size = std::min<qint64>(qint64(stream.total_out), limit);
    piece.begin = piece.output.data() + Piece::room;
    piece.end = piece.begin + size;
    if (qint64(stream.total_out) > limit)
        breakAt(piece, Fault::TooMuch);
    else if (result == Z_MEM_ERROR)
        breakAt(piece, Fault::NoMemory);
    else if (result != Z_STREAM_END && piece.fault == Fault::None)
        breakAt(piece, Fault::Damaged);
    else if (result != Z_STREAM_END)
        piece.isBroken = true; // what cut the data is said already
    else if (piece.fault == Fault::None && size != piece.statedSize)
        piece.fault = Fault::StatedSize;
}

/// Sets the content of a container, which has been cut when it has a fault already.
void inflatePiece(Piece &piece, std::unique_ptr<z_stream> &stream) noexcept
{
    try {
        if (piece.method == Stored) {
            piece.begin = piece.input.data() + Piece::room;
            piece.end = piece.input.data() + piece.input.size();
            const qint64 size = piece.end - piece.begin;
            if (size > maxContentSize) {
                piece.end = piece.begin + maxContentSize;
                breakAt(piece, Fault::TooMuch);
            } else if (piece.fault == Fault::None && size != piece.statedSize) {
                piece.fault = Fault::StatedSize;
            } else {
                piece.isBroken = piece.fault != Fault::None;
            }
            return;
        }
        const bool isNew = !stream;
        if (isNew)
            stream = std::make_unique<z_stream>();
        if ((isNew ? inflateInit(stream.get()) : inflateReset(stream.get())) == Z_OK) {
            inflateContent(piece, *stream);
            return;
        }
        stream.reset();
    } catch (const std::bad_alloc &) {
        piece.end = piece.begin; // no content
    }
    breakAt(piece, Fault::NoMemory);
}

void endStream(std::unique_ptr<z_stream> &stream)
{
    if (stream)
        inflateEnd(stream.get());
    stream.reset();
}

} // namespace

Pieces::Pieces(QIODevice &source, BlockRead newBlockRead)
    : device(source)
    , blockRead(std::move(newBlockRead))
    , isSequential(source.isSequential())
{
}

Pieces::~Pieces()
{
    {
        const std::lock_guard<std::mutex> lock(mutex);
        isEnding = true;
    }
    workCame.notify_all();
    for (std::thread &thread : threads)
        thread.join();
    endStream(stream);
}

/// Reads until there are @p wanted bytes in the window. False when there are not so many.
bool Pieces::fill(qint64 wanted)
{
    while (qint64(end - begin) < wanted) {
        if (isAtEnd)
            return false;
        if (begin > 0) {
            std::memmove(window.data(), window.data() + begin, end - begin);
            end -= begin;
            begin = 0;
        }
        if (window.size() < end + std::size_t(blockSize)) {
            const std::size_t half = window.size() / 2;
            window.resize(end + std::size_t(blockSize) + half);
        }
        qint64 count = device.read(window.data() + end, blockSize);
        while (count == 0 && isSequential && device.waitForReadyRead(-1))
            count = device.read(window.data() + end, blockSize);
        if (count <= 0) {
            isAtEnd = true;
            // A sequential device may say by an error that nothing will come any more: it has no text for that.
            if (count < 0 && device.errorString() != QIODevice::tr("Unknown error"))
                error = device.errorString();
            return false;
        }
        end += std::size_t(count);
        bytesRead += count;
        if (blockRead && !blockRead(bytesRead)) {
            stopped = isAtEnd = true;
            return false;
        }
    }
    return true;
}

void Pieces::consume(const char *upTo)
{
    begin = std::size_t(upTo - window.data());
}

/// Drops @p size bytes, which may be more than are in the window. Returns how many there were too few.
qint64 Pieces::skip(qint64 size)
{
    while (size > 0 && (end > begin || fill(1))) {
        const auto part = std::min<qint64>(size, qint64(end - begin));
        begin += std::size_t(part);
        size -= part;
    }
    return size;
}

FileHeader Pieces::readHeader()
{
    FileHeader header;
    const bool isWhole = fill(leastHeader);
    const char *const bytes = window.data();
    const qint64 available = qint64(end - begin);
    header.isFile = available >= 4 && std::memcmp(bytes, "LOGG", 4) == 0;
    if (!header.isFile || !isWhole) {
        header.isCutShort = header.isFile;
        header.missing = leastHeader - available;
        isScanned = true;
        return header;
    }
    header.writerVersion = u32At(bytes, 8);
    header.objectCount = u32At(bytes, 32);
    header.isStartStored = std::any_of(bytes + 40, bytes + 56, [](char c) { return c != 0; });
    header.start = dateAt(bytes + 40);
    const qint64 size = u32At(bytes, 4);
    const bool isPlausible = size >= leastHeader && size <= longestHeader;
    header.isCutShort = isPlausible && !fill(size);
    header.missing = size - qint64(end - begin);
    skip(isPlausible ? size : leastHeader);
    return header;
}

bool Pieces::isRoomAhead() const
{
    if (queue.empty())
        return true;
    if (isSequential || int(queue.size()) > piecesAhead)
        return false;
    qint64 memory = 0;
    for (const auto &piece : queue)
        memory += piece->memory;
    return memory < mostAhead;
}

/// Appends at least one piece to the queue, unless the file ends.
void Pieces::scan()
{
    const std::size_t before = queue.size();
    while (queue.size() == before && !isScanned) {
        const char *const bytes = window.data();
        const Found found = findObject(bytes + begin, bytes + end, isAtEnd, Place::File);
        if (found.what == Found::What::Missing)
            fill(qint64(end - begin) + found.missing);
        else
            takeFound(found);
        isScanned = isScanned || stopped;
    }
}

void Pieces::takeFound(const Found &found)
{
    if (found.what == Found::What::Stray) {
        takeStray(found);
        return;
    }
    if (strayCount > 0 && found.object)
        strayCount += found.object - (window.data() + begin); // which were taken for padding
    endStray(found.what == Found::What::End);
    if (found.what == Found::What::End) {
        isScanned = true;
        return;
    }
    isAfterWrongSize = found.what == Found::What::WrongSize;
    const bool hasHeader = found.next - found.object >= containerHeaderSize;
    if (hasHeader && typeOf(found.object) == Container) {
        takeContainer(found);
    } else if (found.what == Found::What::WrongSize || found.what == Found::What::CutShort) {
        const bool isCut = found.what == Found::What::CutShort;
        Piece &piece = append(Piece::Kind::Damage, isCut ? Fault::CutShort : Fault::WrongSize, found.object);
        piece.count = found.missing;
        piece.isBroken = isCut || typeOf(found.object) == Container;
    } else {
        Piece &piece = append(Piece::Kind::Object, Fault::None, found.object);
        piece.isTooLong = found.what == Found::What::TooLong;
        const char *const behind = piece.isTooLong ? found.object + containerHeaderSize : found.next;
        piece.input.insert(piece.input.end(), found.object, std::min<const char *>(behind, window.data() + end));
        piece.begin = piece.input.data() + Piece::room;
        piece.end = piece.input.data() + piece.input.size();
    }
    if (found.what == Found::What::TooLong) {
        consume(found.object);
        const qint64 missing = skip(sizeOf(found.object));
        if (missing > 0 && !stopped)
            append(Piece::Kind::Damage, Fault::CutShort, window.data() + end).count = missing;
    } else {
        consume(found.next);
    }
}

void Pieces::takeContainer(const Found &found)
{
    const char *const object = found.object;
    // No other size was ever seen, and so it is damaged.
    const bool isUsual = u16At(object, 4) == baseHeaderSize;
    const bool isCut = found.what == Found::What::CutShort;
    const bool isWrong = found.what == Found::What::WrongSize || !isUsual;
    Piece &piece = append(Piece::Kind::Content,
                          isCut     ? Fault::CutShort
                          : isWrong ? Fault::WrongSize
                                    : Fault::None,
                          object);
    piece.count = found.missing;
    piece.method = u16At(object, baseHeaderSize);
    piece.statedSize = u32At(object, baseHeaderSize + 8);
    if (piece.method != Stored && piece.method != Zlib) {
        breakAt(piece, Fault::UnknownMethod);
        piece.count = piece.method;
        return;
    }
    // Kept longer, it would take too much memory; what is too long inflates to too much, too.
    const qint64 size = std::min(found.next - object - containerHeaderSize, maxContentSize + mib);
    const char *const data = object + containerHeaderSize;
    piece.input.insert(piece.input.end(), data, data + size);
    piece.memory = size + std::min(contentLimit(piece.statedSize), highestContent(size));
    {
        const std::lock_guard<std::mutex> lock(mutex);
        piece.state = Piece::State::Waiting;
    }
    workCame.notify_one();
}

void Pieces::takeStray(const Found &found)
{
    const char *const from = window.data() + begin;
    if (strayCount == 0) {
        strayOffset = bytesRead - qint64(end - begin);
        isStrayZero = true;
        isStrayLog = found.next - from >= 4 && std::memcmp(from, "LOGG", 4) == 0;
    }
    isStrayZero = isStrayZero && std::all_of(from, found.next, [](char c) { return c == 0; });
    strayCount += found.next - from;
    consume(found.next);
}

/// After what was no object comes one, or the end, before which zeros may stand.
void Pieces::endStray(bool isEnd)
{
    const qint64 count = std::exchange(strayCount, 0);
    if (count == 0 || isAfterWrongSize || (isEnd && isStrayZero))
        return;
    Piece &piece = append(Piece::Kind::Damage, isStrayLog ? Fault::AnotherLog : Fault::Stray, window.data() + begin);
    piece.offset = strayOffset;
    piece.count = count;
    piece.isBroken = count >= containerHeaderSize; // it may have been a container
}

/// A new piece at the end of the queue, for what stands at @p object.
Piece &Pieces::append(Piece::Kind kind, Fault fault, const char *object)
{
    std::unique_ptr<Piece> piece;
    if (spare.empty()) {
        piece = std::make_unique<Piece>();
    } else {
        piece = std::move(spare.back());
        spare.pop_back();
    }
    std::vector<char> input = std::move(piece->input);
    std::vector<char> output = std::move(piece->output);
    *piece = Piece();
    input.resize(std::size_t(Piece::room)); // keeps what it had allocated
    piece->input = std::move(input);
    piece->output = std::move(output);
    piece->kind = kind;
    piece->fault = fault;
    piece->offset = bytesRead - (window.data() + end - object);
    Piece &appended = *piece;
    const std::lock_guard<std::mutex> lock(mutex);
    queue.push_back(std::move(piece));
    return appended;
}

Piece *Pieces::next()
{
    if (current && qint64(current->input.capacity() + current->output.capacity()) < spareSize)
        spare.push_back(std::move(current));
    current.reset();
    while (!isScanned && isRoomAhead())
        scan();
    if (stopped || queue.empty())
        return nullptr;
    prepareFront();
    const std::lock_guard<std::mutex> lock(mutex);
    current = std::move(queue.front());
    queue.pop_front();
    return current.get();
}

/// Waits for the first piece, and inflates what nobody has begun with meanwhile.
void Pieces::prepareFront()
{
    if (threads.empty() && isWorthThreads())
        startThreads();
    std::unique_lock<std::mutex> lock(mutex);
    while (queue.front()->state != Piece::State::Done) {
        Piece *const piece = findWaiting();
        if (!piece) {
            workDone.wait(lock);
            continue;
        }
        piece->state = Piece::State::InWork;
        lock.unlock();
        inflatePiece(*piece, stream);
        lock.lock();
        piece->state = Piece::State::Done;
    }
}

/// Whether the pieces ahead are so much work that other threads are begun sooner than it is done.
bool Pieces::isWorthThreads() const
{
    constexpr qint64 leastContent = 128 * 1024;
    qint64 content = 0;
    for (const auto &piece : queue)
        content += piece->statedSize;
    return queue.size() > 1 && content > leastContent;
}

/// The first piece that nobody inflates yet, null when there is none. Under the lock.
Piece *Pieces::findWaiting()
{
    const auto found = std::find_if(queue.begin(), queue.end(),
                                    [](const auto &piece) { return piece->state == Piece::State::Waiting; });
    return found == queue.end() ? nullptr : found->get();
}

/// One for each processor: looking at a piece is far less work than to inflate it. Where there can be none, the thread
/// that looks at the pieces does all.
void Pieces::startThreads()
{
    const int wanted = std::clamp(int(std::thread::hardware_concurrency()), 1, piecesAhead);
    try {
        while (int(threads.size()) < wanted)
            threads.emplace_back([this] { work(); });
    } catch (const std::system_error &) {
    }
}

/// What the other threads do until the end.
void Pieces::work()
{
    std::unique_ptr<z_stream> ownStream;
    std::unique_lock<std::mutex> lock(mutex);
    while (!isEnding) {
        Piece *const piece = findWaiting();
        if (!piece) {
            workCame.wait(lock);
            continue;
        }
        piece->state = Piece::State::InWork;
        lock.unlock();
        inflatePiece(*piece, ownStream);
        lock.lock();
        piece->state = Piece::State::Done;
        workDone.notify_one();
    }
    lock.unlock();
    endStream(ownStream);
}

} // namespace Blf
