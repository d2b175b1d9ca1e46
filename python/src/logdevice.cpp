// SPDX-License-Identifier: Apache-2.0
#include "python/src/logdevice.h"

#include "python/src/pythondevice.h"

#include "host/reading/pipedevice.h"

#include <QBuffer>

#include <sys/stat.h>
#include <unistd.h>

static bool isPlainFile(int descriptor)
{
    struct stat status = {};
    return ::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
}

LogDevice::LogDevice(int descriptor, const QString &nameOfLog)
    : logName(nameOfLog)
{
    if (isPlainFile(descriptor)) {
        file.open(descriptor, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle);
        return;
    }
    pipe = descriptor;
    source = std::make_unique<PipeDevice>(descriptor, [this] { return waitCheck && waitCheck(); });
    source->open(QIODevice::ReadOnly | QIODevice::Unbuffered);
}

LogDevice::LogDevice(std::unique_ptr<PythonDevice> pythonObject, const QString &nameOfLog)
    : logName(nameOfLog)
    , object(pythonObject.get())
{
    source = std::move(pythonObject);
    source->open(QIODevice::ReadOnly | QIODevice::Unbuffered);
}

LogDevice::~LogDevice()
{
    close();
}

QString LogDevice::open()
{
    if (file.isOpen() && !GzipDevice::isCompressed(file.peek(2)))
        return {};
    QIODevice &first = source ? *source : file;
    sourceStart = std::make_unique<BeginningDevice>(first);
    QIODevice *plain = sourceStart.get();
    if (GzipDevice::isCompressed(sourceStart->beginning(2))) {
        gzip = std::make_unique<GzipDevice>(*sourceStart);
        if (!gzip->open(QIODevice::ReadOnly))
            return gzip->errorString();
        plain = gzip.get();
    }
    stream = std::make_unique<BeginningDevice>(*plain);
    const bool isEmpty = stream->beginning(1).isEmpty();
    return isEmpty && !fault().isEmpty() ? withAdvice(fault()) : QString();
}

Detection LogDevice::detect()
{
    if (!stream) {
        const Detection detection = detectFormat(file);
        file.seek(0);
        return detection;
    }
    QByteArray beginning = stream->beginning(detectionSize);
    QBuffer buffer(&beginning);
    buffer.open(QIODevice::ReadOnly);
    return detectFormat(buffer);
}

QIODevice &LogDevice::content()
{
    return stream ? static_cast<QIODevice &>(*stream) : file;
}

void LogDevice::close()
{
    bytesAtClose = bytesRead();
    faultAtClose = fault();
    stream.reset();
    gzip.reset();
    sourceStart.reset();
    if (object)
        object->letGo();
    else
        source.reset();
    file.close();
    if (pipe >= 0)
        ::close(pipe);
    pipe = -1;
}

QString LogDevice::fault() const
{
    return stream ? stream->fault() : faultAtClose;
}

QString LogDevice::withAdvice(const QString &reason) const
{
    return gzip ? QStringLiteral("%1; try 'gzip --test' on it").arg(reason) : reason;
}

bool LogDevice::hasException() const
{
    return object && object->hasException();
}

bool LogDevice::restoreException()
{
    return object && object->restoreException();
}

qint64 LogDevice::bytesRead() const
{
    if (gzip)
        return gzip->compressedBytesRead();
    if (stream)
        return stream->bytesGiven();
    return file.isOpen() ? file.pos() : bytesAtClose;
}
