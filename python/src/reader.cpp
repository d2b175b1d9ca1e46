// SPDX-License-Identifier: Apache-2.0
#include "python/src/reader.h"

#include "python/src/pythondevice.h"

#include "host/selection/messagefilter.h"

#include <cerrno>
#include <csignal>
#include <mutex>
#include <optional>
#include <utility>

namespace nb = nanobind;

static nb::str pythonText(const QString &text)
{
    const QByteArray utf8 = text.toUtf8();
    return nb::str(utf8.constData(), std::size_t(utf8.size()));
}

/// What streams share with the reader that made them.
struct Reader::State {
    std::unique_ptr<Pull> pull;
    std::shared_ptr<Columns> kept; ///< read ahead
    std::unique_ptr<nb::python_error> exception;
    std::shared_ptr<const MessageFilter> filter;
    PyObject *endReached = nullptr;
    std::string name;
    bool isStrict = false;
    bool isEndTold = false;

    ~State()
    {
        if (!nb::is_alive())
            return;
        const nb::gil_scoped_acquire lock;
        Py_XDECREF(endReached);
    }

    /// Whether the program is to be interrupted: Ctrl-C has become an exception, which is kept.
    bool isInterrupted()
    {
        const nb::gil_scoped_acquire lock;
        if (PyErr_CheckSignals() == 0)
            return false;
        exception = std::make_unique<nb::python_error>();
        return true;
    }

    std::shared_ptr<Columns> next(std::size_t size);
    bool meetsFault();
    void tellEnd();

    /// Raises why there are no more rows, if that is no ordinary end.
    void raiseProblem();
    StreamFault fault();
};

/// An exception of this package, by its name.
[[noreturn]] static void raise(const char *className, const nb::object &arguments)
{
    const nb::object type = nb::module_::import_("canlog._errors").attr(className);
    PyErr_SetObject(type.ptr(), arguments.ptr());
    nb::raise_python_error();
}

[[noreturn]] static void raiseFormat(const std::string &name, const QString &text)
{
    raise("FormatError", nb::make_tuple(nb::str((name + ": ").c_str()) + pythonText(text)));
}

[[noreturn]] static void raiseUnreadable(const std::string &name, const QString &text)
{
    PyErr_SetObject(PyExc_OSError, nb::make_tuple(EIO, pythonText(text), nb::str(name.c_str())).ptr());
    nb::raise_python_error();
}

static nb::dict dictOf(const ImportReport &report, bool isComplete)
{
    nb::list faults;
    for (const ImportReport::Fault &fault : report.faults)
        faults.append(nb::make_tuple(fault.line, fault.column, pythonText(fault.toText())));
    nb::dict result;
    result["lines"] = report.lines;
    result["frames"] = report.messages;
    result["other_lines"] = report.otherLines;
    result["dropped_lines"] = report.droppedLines;
    result["faulty_lines"] = report.faultyLines;
    result["cut_notes"] = report.cutNotes;
    result["read_error"] = pythonText(report.readError);
    result["faults"] = faults;
    result["is_complete"] = isComplete;
    return result;
}

/// Needs no lock, but may take it.
std::shared_ptr<Columns> Reader::State::next(std::size_t size)
{
    if (kept)
        return std::exchange(kept, nullptr);
    std::shared_ptr<Columns> columns = pull->next(size);
    if (isStrict && meetsFault())
        return {};
    if (!isEndTold && pull->ending() == Pull::Ending::AtEnd) {
        isEndTold = true;
        tellEnd();
    }
    return columns;
}

/// Whether a line was faulty; reading is over then.
bool Reader::State::meetsFault()
{
    const ImportReport report = pull->report();
    if (report.faults.isEmpty())
        return false;
    pull->stop();
    const ImportReport::Fault &first = report.faults.constFirst();
    const nb::gil_scoped_acquire lock;
    try {
        raise("FaultyLineError",
              nb::make_tuple(nb::str(name.c_str()), first.line, first.column, pythonText(first.toText())));
    } catch (nb::python_error &error) {
        exception = std::make_unique<nb::python_error>(std::move(error));
    }
    return true;
}

void Reader::State::tellEnd()
{
    const ImportReport report = pull->report();
    const nb::gil_scoped_acquire lock;
    if (!endReached)
        return;
    nb::dict told = dictOf(report, true);
    told["unknown_channels"] = pythonText(filter ? filter->unknownNames().join(QLatin1String(", ")) : QString());
    try {
        nb::handle(endReached).operator()(told);
    } catch (nb::python_error &error) {
        exception = std::make_unique<nb::python_error>(std::move(error));
    }
}

void Reader::State::raiseProblem()
{
    if (exception) {
        exception->restore();
        exception.reset();
        nb::raise_python_error();
    }
    Pull::Ending ending = Pull::Ending::None;
    QString problem;
    {
        // Who holds the pull may wait for Python's lock.
        const nb::gil_scoped_release noLock;
        ending = pull->ending();
        problem = pull->problem();
    }
    switch (ending) {
    case Pull::Ending::None:
    case Pull::Ending::AtEnd:
        return;
    case Pull::Ending::Format:
        raiseFormat(name, problem);
    case Pull::Ending::Unreadable:
        raiseUnreadable(name, problem);
    case Pull::Ending::Interrupted:
        if (pull->restoreException())
            nb::raise_python_error();
        PyErr_SetNone(PyExc_KeyboardInterrupt);
        nb::raise_python_error();
    case Pull::Ending::Stopped:
        PyErr_SetString(PyExc_ValueError, (name + " was closed").c_str());
        nb::raise_python_error();
    }
}

/// The same, for a stream, whose consumer need not be Python.
StreamFault Reader::State::fault()
{
    const nb::gil_scoped_acquire lock;
    try {
        raiseProblem();
    } catch (nb::python_error &error) {
        const std::string text = nb::cast<std::string>(nb::str(error.value()));
        const std::string type = nb::cast<std::string>(nb::str(error.type().attr("__name__")));
        const std::string both = text.empty() ? type : type + ": " + text;
        if (error.matches(PyExc_KeyboardInterrupt)) {
            PyErr_SetInterruptEx(SIGINT); // raised when the consumer is back in Python
            return {EINTR, both};
        }
        return {error.matches(PyExc_OSError) ? EIO : EINVAL, both};
    }
    return {0, {}};
}

static std::unique_ptr<LogDevice> deviceOf(const nb::object &file, const QString &name)
{
    if (PyLong_Check(file.ptr()))
        return std::make_unique<LogDevice>(nb::cast<int>(file), name);
    return std::make_unique<LogDevice>(std::make_unique<PythonDevice>(file), name);
}

/// What to say of a log whose format was not told and cannot be found.
static QString unknownText(const Detection &detection)
{
    QString text = detection.reason;
    if (!detection.advice.isEmpty())
        text += QStringLiteral("; ") + detection.advice;
    return text + QStringLiteral("; type= names a format, canlog.formats() lists them");
}

Reader::Reader(const nb::object &file, const nb::bytes &name, int type, const nb::object &columns)
    : state(std::make_shared<State>())
{
    state->name = std::string(static_cast<const char *>(name.data()), name.size());
    const QString title = QString::fromUtf8(state->name.data(), int(state->name.size()));
    const QString columnsText =
        columns.is_none() ? defaultColumns() : QString::fromStdString(nb::cast<std::string>(columns));
    std::unique_ptr<LogDevice> device = deviceOf(file, title);
    const std::weak_ptr<State> weakState = state;
    const auto isInterrupted = [weakState] {
        const std::shared_ptr<State> locked = weakState.lock();
        return locked && locked->isInterrupted();
    };
    device->setWaitCheck(isInterrupted);
    QString problem;
    Detection detection;
    {
        const nb::gil_scoped_release noLock;
        problem = device->open();
        if (problem.isEmpty() && type < 0)
            detection = device->detect();
    }
    if (device->restoreException())
        nb::raise_python_error();
    if (state->exception)
        std::exchange(state->exception, nullptr)->restore(), nb::raise_python_error();
    if (!problem.isEmpty())
        raiseUnreadable(state->name, problem);
    if (type < 0 && !detection.type)
        raiseFormat(state->name, unknownText(detection));
    const auto number = type < 0 ? *detection.type : DatachunkHelper::ImportFileType(type);
    const LogFormat *const format = findLogFormat(number);
    if (!format)
        raiseFormat(state->name, QStringLiteral("is no log, but %1").arg(detection.reason));
    state->pull = std::make_unique<Pull>(std::move(device), *format, columnsText);
    state->pull->setInterruptionCheck(isInterrupted);
}

Reader::~Reader() = default;

static nb::dict dictOf(const LogFormat &format)
{
    nb::list names;
    for (const QString &name : format.shortNames)
        names.append(pythonText(name));
    nb::dict result;
    result["type"] = int(format.type);
    result["name"] = pythonText(format.name());
    result["short_names"] = nb::tuple(names);
    result["description"] = pythonText(format.description);
    result["suffix"] = pythonText(format.suffix);
    result["has_columns"] = format.hasColumns;
    return result;
}

nb::list formatList()
{
    nb::list result;
    for (const LogFormat &format : logFormats())
        result.append(dictOf(format));
    return result;
}

nb::dict Reader::format() const
{
    return dictOf(state->pull->format());
}

void Reader::begin()
{
    {
        const nb::gil_scoped_release noLock;
        state->pull->begin();
    }
    if (state->pull->restoreException())
        nb::raise_python_error();
}

static const char *nameOf(LogInfo::TimeBase timeBase)
{
    switch (timeBase) {
    case LogInfo::TimeBase::UnixEpoch:
        return "unix-epoch";
    case LogInfo::TimeBase::LogStart:
        return "log-start";
    case LogInfo::TimeBase::Midnight:
        return "midnight";
    case LogInfo::TimeBase::Unknown:
        break;
    }
    return "unknown";
}

/// Year to millisecond, and the seconds east of Greenwich where the log tells its zone.
static nb::object startOf(const LogInfo &info)
{
    if (!info.start.isValid())
        return nb::none();
    const QDate date = info.start.date();
    const QTime time = info.start.time();
    const nb::object zone = info.startHasZone ? nb::cast(info.start.offsetFromUtc()) : nb::none();
    return nb::make_tuple(date.year(), date.month(), date.day(), time.hour(), time.minute(), time.second(),
                          time.msec() * 1000, zone);
}

nb::dict Reader::info() const
{
    LogInfo info;
    {
        const nb::gil_scoped_release noLock;
        info = state->pull->info();
    }
    nb::dict channels;
    for (auto it = info.channelNames.cbegin(); it != info.channelNames.cend(); ++it)
        channels[nb::int_(int(it.key()))] = pythonText(it.value());
    nb::dict result;
    result["time_zero"] = nameOf(info.timeBase);
    result["start"] = startOf(info);
    result["channels"] = channels;
    result["writer"] = pythonText(info.writer);
    result["version"] = pythonText(info.version);
    return result;
}

nb::dict Reader::report() const
{
    ImportReport report;
    bool isComplete = false;
    {
        const nb::gil_scoped_release noLock;
        isComplete = state->pull->ending() == Pull::Ending::AtEnd;
        report = state->pull->report();
    }
    return dictOf(report, isComplete);
}

nb::dict Reader::sums() const
{
    Pull::Sums sums;
    {
        const nb::gil_scoped_release noLock;
        sums = state->pull->sums();
    }
    const auto orNone = [](const std::optional<std::int64_t> &value) { return value ? nb::cast(*value) : nb::none(); };
    nb::dict result;
    result["frames"] = sums.frames;
    result["bytes"] = sums.bytes;
    result["first_time_us"] = orNone(sums.firstTime);
    result["last_time_us"] = orNone(sums.lastTime);
    result["seconds"] = sums.seconds;
    return result;
}

void Reader::setTimeOffset(const nb::object &offset)
{
    std::optional<std::int64_t> microseconds;
    if (!offset.is_none())
        microseconds = nb::cast<std::int64_t>(offset);
    const nb::gil_scoped_release noLock;
    state->pull->setTimeOffset(microseconds);
}

void Reader::setEndReached(const nb::object &callback)
{
    Py_XDECREF(state->endReached);
    state->endReached = nb::object(callback).release().ptr();
}

void Reader::setStrict()
{
    state->isStrict = true;
}

/// Sets what is not empty. Returns what is wanted instead of the first text that makes no sense.
static QString setFilter(MessageFilter &filter, const std::string &ids, const std::string &channels,
                         const std::string &from, const std::string &to, const std::string &direction)
{
    using Setter = QString (MessageFilter::*)(const QString &);
    const std::pair<const std::string *, Setter> settings[] = {
        {&ids, &MessageFilter::addIds}, {&channels, &MessageFilter::addChannels},   {&from, &MessageFilter::setFrom},
        {&to, &MessageFilter::setTo},   {&direction, &MessageFilter::setDirection},
    };
    for (const auto &[text, set] : settings) {
        const QString problem = text->empty() ? QString() : (filter.*set)(QString::fromStdString(*text));
        if (!problem.isEmpty())
            return QStringLiteral("%1 makes no sense: %2").arg(QString::fromStdString(*text), problem);
    }
    return filter.isEmptySpan() ? QStringLiteral("the start is after the end") : QString();
}

std::string choiceProblem(const std::string &ids, const std::string &channels, const std::string &from,
                          const std::string &to, const std::string &direction)
{
    MessageFilter filter;
    return setFilter(filter, ids, channels, from, to, direction).toStdString();
}

std::string Reader::select(const std::string &ids, const std::string &channels, const std::string &from,
                           const std::string &to, const std::string &direction)
{
    const auto filter = std::make_shared<MessageFilter>();
    const QString problem = setFilter(*filter, ids, channels, from, to, direction);
    if (!problem.isEmpty())
        return problem.toStdString();
    Pull *const pull = state->pull.get(); // which the selection is a part of
    filter->beginLog([pull] { return pull->infoWhileReading(); });
    state->filter = filter;
    const nb::gil_scoped_release noLock;
    pull->select([filter](const CAN::CanRxMessage &message) { return filter->passes(message, false); });
    return {};
}

void Reader::selectNone()
{
    const nb::gil_scoped_release noLock;
    state->pull->select([](const CAN::CanRxMessage &) { return false; });
}

void Reader::close()
{
    const nb::gil_scoped_release noLock;
    state->pull->stop();
}

std::shared_ptr<Columns> Reader::next(std::size_t size)
{
    std::shared_ptr<Columns> columns;
    {
        const nb::gil_scoped_release noLock;
        columns = state->next(size);
    }
    if (!columns || state->exception)
        state->raiseProblem();
    return columns;
}

void Reader::readAhead(std::size_t size)
{
    state->kept = next(size);
}

nb::object Reader::stream(std::size_t size, const nb::list &metadata)
{
    BatchSource source;
    source.name = state->name;
    source.metadata = [pairs = metadataOf(metadata)] { return pairs; };
    source.next = [held = state, size]() -> std::shared_ptr<const Columns> {
        std::shared_ptr<Columns> columns = held->next(size);
        if (!columns || held->exception) {
            const StreamFault fault = held->fault();
            if (fault.code != 0)
                throw fault;
        }
        return columns;
    };
    return streamCapsule(makeStream(std::move(source)));
}

nb::object streamCapsule(ArrowArrayStream *newStream)
{
    return nb::capsule(newStream, "arrow_array_stream", [](void *pointer) noexcept {
        auto *const stream = static_cast<ArrowArrayStream *>(pointer);
        if (stream->release)
            stream->release(stream);
        delete stream;
    });
}

Metadata metadataOf(const nb::list &pairs)
{
    Metadata result;
    for (const nb::handle pair : pairs)
        result.emplace_back(nb::cast<std::string>(nb::str(pair[0])), nb::cast<std::string>(nb::str(pair[1])));
    return result;
}
