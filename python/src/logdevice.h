// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "host/reading/beginningdevice.h"
#include "host/reading/detect.h"
#include "host/reading/gzipdevice.h"

#include <QFile>
#include <QString>

#include <functional>
#include <memory>

class PythonDevice;
class PipeDevice;

/**
 * Where a log is read from: an open descriptor or a Python file object, compressed by gzip or not. A plain file is read
 * as it is; anything else as a stream, whose beginning is looked at before.
 */
class LogDevice
{
public:
    /// Of @p descriptor, which is closed at the end; @p logName is for people.
    LogDevice(int descriptor, const QString &logName);
    /// Of a Python object that can be read().
    LogDevice(std::unique_ptr<PythonDevice> object, const QString &logName);
    ~LogDevice();

    /// Looks at the beginning. Returns why nothing can be read, empty when something can be.
    QString open();
    /// What the beginning says of the format, after open().
    Detection detect();
    QIODevice &content();
    void close();

    /// Asked while nothing arrives from a pipe; when it is true, the log ends there.
    void setWaitCheck(const std::function<bool()> &check) { waitCheck = check; }

    /// Why what was read ends before the end; empty when it does not.
    QString fault() const;
    /// What to say of a log that cannot be read any further because of @p reason.
    QString withAdvice(const QString &reason) const;
    bool hasException() const;
    /// Sets the exception that a Python object has raised, if any. Needs Python's lock.
    bool restoreException();
    qint64 bytesRead() const;
    const QString &name() const { return logName; }

private:
    Q_DISABLE_COPY_MOVE(LogDevice)

    const QString logName;
    int pipe = -1;
    std::function<bool()> waitCheck;

    // Each reads the one before; the latter ones of streams only.
    QFile file;
    std::unique_ptr<QIODevice> source;
    PythonDevice *object = nullptr; ///< the source, where it is one
    std::unique_ptr<BeginningDevice> sourceStart;
    std::unique_ptr<GzipDevice> gzip;
    std::unique_ptr<BeginningDevice> stream;
    qint64 bytesAtClose = 0;
    QString faultAtClose;
};
