// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <nanobind/nanobind.h>

#include <QIODevice>

#include <memory>

/// Reads a Python object that has a read(), which a file of any kind has. Takes Python's lock for each read.
class PythonDevice : public QIODevice
{
public:
    /// Needs Python's lock.
    explicit PythonDevice(const nanobind::object &file);
    ~PythonDevice() override;

    bool isSequential() const override { return true; }
    bool atEnd() const override { return isEnded && QIODevice::atEnd(); }

    /// Whether read() has raised an exception, which ended the reading.
    bool hasException() const { return exception != nullptr; }
    /// Raises it. Needs Python's lock.
    bool restoreException();
    /// Reads no more; the object itself stays open, since it is not ours.
    void letGo();

protected:
    qint64 readData(char *data, qint64 maxSize) override;
    qint64 writeData(const char *, qint64) override { return -1; }

private:
    Q_DISABLE_COPY_MOVE(PythonDevice)

    qint64 readOnce(char *data, qint64 maxSize);

    nanobind::object read;
    nanobind::object rest; ///< bytes that were read and not given yet
    qint64 given = 0;      ///< of the rest
    std::unique_ptr<nanobind::python_error> exception;
    bool isEnded = false;
};
