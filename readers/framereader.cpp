// SPDX-License-Identifier: Apache-2.0
#include "readers/framereader.h"

#include <QFile>
#include <QThread>

FrameReader::FrameReader(bool formatBringsNumbers)
    : bringsNumbers(formatBringsNumbers)
{
}

FrameReader::~FrameReader() = default;

void FrameReader::forget(const QString &newName)
{
    currentState = State::Closed;
    frames = 0;
    anyFd = false;
    note.clear();
    file.reset();
    logName = newName;
    errorText.clear();
    stopRequested = false;
    stopped = false;
}

bool FrameReader::open(const QString &path)
{
    auto newFile = std::make_unique<QFile>(path);
    const bool isOpen = newFile->open(QIODevice::ReadOnly);
    forget(path);
    file = std::move(newFile);
    start(*file);
    currentState = State::Reading;
    if (!isOpen)
        fail(tr("%1 cannot be opened: %2").arg(path, file->errorString()));
    return isOpen;
}

bool FrameReader::open(QIODevice &device, const QString &name)
{
    forget(name);
    start(device);
    currentState = State::Reading;
    if (!device.isReadable())
        fail(tr("%1 is not open for reading").arg(name));
    return currentState == State::Reading;
}

bool FrameReader::end()
{
    if (currentState == State::Reading)
        currentState = stopped ? State::Interrupted : State::AtEnd;
    if (file)
        file->close();
    return false;
}

void FrameReader::fail(const QString &text)
{
    currentState = State::Failed;
    errorText = text;
}

QString FrameReader::errorString() const
{
    return errorText;
}

bool FrameReader::blockRead(qint64 bytesRead, qint64 bytesTotal)
{
    if (progress)
        progress(bytesRead, bytesTotal);
    stopped = stopRequested || QThread::currentThread()->isInterruptionRequested();
    return !stopped;
}
