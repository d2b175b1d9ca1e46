// SPDX-License-Identifier: Apache-2.0
#include "python/src/pythondevice.h"

#include <QString>

#include <algorithm>
#include <cstring>

namespace nb = nanobind;

static constexpr qint64 blockSize = 1024 * 1024; // a call costs, and of a store in a network a journey

PythonDevice::PythonDevice(const nb::object &file)
    : read(file.attr("read"))
{
}

PythonDevice::~PythonDevice()
{
    letGo();
}

void PythonDevice::letGo()
{
    if (!nb::is_alive()) { // Python has ended, and took them with it
        (void)read.release();
        (void)rest.release();
        return;
    }
    const nb::gil_scoped_acquire lock;
    read.reset();
    rest.reset();
    isEnded = true;
}

bool PythonDevice::restoreException()
{
    if (!exception)
        return false;
    exception->restore();
    exception.reset();
    return true;
}

qint64 PythonDevice::readData(char *data, qint64 maxSize)
{
    if (isEnded || maxSize <= 0)
        return isEnded && hasException() ? -1 : 0;
    const nb::gil_scoped_acquire lock;
    try {
        return readOnce(data, maxSize);
    } catch (nb::python_error &error) {
        exception = std::make_unique<nb::python_error>(std::move(error));
    } catch (const std::exception &error) {
        setErrorString(QString::fromUtf8(error.what()));
    }
    isEnded = true;
    return -1;
}

qint64 PythonDevice::readOnce(char *data, qint64 maxSize)
{
    if (!rest.is_valid()) {
        // Signals are looked at here, too: an object of Python's own does not while it reads from memory.
        if (PyErr_CheckSignals() != 0)
            nb::raise_python_error();
        rest = read(blockSize);
        given = 0;
        if (!PyObject_CheckBuffer(rest.ptr())) {
            const char *const what = PyUnicode_Check(rest.ptr()) ? "the file object gives text; open it with \"rb\""
                                                                 : "read() of the file object gave no bytes";
            PyErr_SetString(PyExc_TypeError, what);
            nb::raise_python_error();
        }
    }
    Py_buffer view;
    if (PyObject_GetBuffer(rest.ptr(), &view, PyBUF_SIMPLE) != 0)
        nb::raise_python_error();
    const qint64 size = std::min<qint64>(maxSize, view.len - given);
    std::memcpy(data, static_cast<const char *>(view.buf) + given, std::size_t(size));
    given += size;
    isEnded = view.len == 0;
    const bool isUsedUp = given == view.len;
    PyBuffer_Release(&view);
    if (isUsedUp)
        rest.reset();
    return size;
}
