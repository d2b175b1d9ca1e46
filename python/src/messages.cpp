// SPDX-License-Identifier: Apache-2.0
#include "python/src/messages.h"

#include <structmember.h> // of Python

namespace nb = nanobind;

namespace
{

/// A field of a class with slots: where it is in the object, which is quicker than asking for its name each time.
class Field
{
public:
    Field(PyTypeObject *type, const char *text)
        : name(nb::steal(PyUnicode_InternFromString(text)))
    {
        const nb::object slot = nb::steal(PyObject_GetAttr(reinterpret_cast<PyObject *>(type), name.ptr()));
        if (!slot.is_valid())
            nb::raise_python_error();
        if (Py_TYPE(slot.ptr()) == &PyMemberDescr_Type) {
            const PyMemberDef &member = *reinterpret_cast<PyMemberDescrObject *>(slot.ptr())->d_member;
            const bool isObject = member.type == T_OBJECT_EX && (member.flags & READONLY) == 0;
            offset = isObject ? member.offset : 0;
        }
    }

    /// Of a new @p message. Takes over @p value, a new reference.
    void set(PyObject *message, PyObject *value) const
    {
        if (!value)
            nb::raise_python_error();
        if (offset > 0) {
            *reinterpret_cast<PyObject **>(reinterpret_cast<char *>(message) + offset) = value;
            return;
        }
        const nb::object owned = nb::steal(value);
        if (PyObject_SetAttr(message, name.ptr(), value) != 0)
            nb::raise_python_error();
    }
    void setFlag(PyObject *message, bool value) const
    {
        PyObject *const object = value ? Py_True : Py_False;
        Py_INCREF(object);
        set(message, object);
    }

private:
    nb::object name;
    Py_ssize_t offset = 0;
};

/// Makes messages without their constructor, which would take most of the time.
class Builder
{
public:
    explicit Builder(const MessageStyle &messageStyle)
        : style(messageStyle)
        , type(reinterpret_cast<PyTypeObject *>(messageStyle.messageClass.ptr()))
    {
    }

    nb::object build(const Columns &columns, std::size_t row) const
    {
        const nb::object message = nb::steal(type->tp_alloc(type, 0));
        if (!message.is_valid())
            nb::raise_python_error();
        PyObject *const to = message.ptr();
        const bool isError = columns.isError[row];
        const bool isBare = isError && style.errorsAreBare;
        timestamp.set(to, PyFloat_FromDouble(time(columns.timeUs[row])));
        arbitrationId.set(to, PyLong_FromLong(isError ? 0 : columns.id[row]));
        isExtended.setFlag(to, isError || columns.isExtended[row]);
        isRemote.setFlag(to, columns.isRemote[row]);
        isErrorFrame.setFlag(to, isError);
        channel.set(to, nb::object(isBare ? none : channelOf(columns, row)).release().ptr());
        dlc.set(to, PyLong_FromLong(isError ? 0 : columns.length[row]));
        data.set(to, isError ? PyByteArray_FromStringAndSize(nullptr, 0) : payload(columns, row));
        isFd.setFlag(to, !isBare && columns.isFd[row]);
        isRx.setFlag(to, isBare || !columns.isTx[row]);
        bitRateSwitch.setFlag(to, !isBare && columns.isBrs[row]);
        errorState.setFlag(to, !isBare && columns.isEsi[row]);
        return message;
    }

private:
    double time(std::int64_t microseconds) const
    {
        if (style.inMilliseconds)
            return double(microseconds) / 1000 / 1000 + style.start;
        return double(microseconds) / 1000000 + style.start;
    }
    /// Asked for each frame, so that the latest answer is kept.
    const nb::object &channelOf(const Columns &columns, std::size_t row) const
    {
        if (!style.hasChannel || !columns.hasChannel[row])
            return style.noChannel;
        const int number = columns.channel[row];
        if (number != latestNumber) {
            const nb::int_ key(number);
            PyObject *const known = PyDict_GetItemWithError(style.channels.ptr(), key.ptr());
            latestChannel = known ? nb::borrow(known) : nb::object(nb::int_(number + style.channelShift));
            latestNumber = number;
        }
        return latestChannel;
    }
    static PyObject *payload(const Columns &columns, std::size_t row)
    {
        const std::int32_t *const begin = columns.data.offsets.data() + row;
        const char *const bytes = reinterpret_cast<const char *>(columns.data.bytes.data()) + begin[0];
        return PyByteArray_FromStringAndSize(bytes, begin[1] - begin[0]);
    }

    const nb::object none = nb::none();
    mutable int latestNumber = -1;
    mutable nb::object latestChannel;
    const MessageStyle &style;
    PyTypeObject *const type;
    const Field timestamp{type, "timestamp"};
    const Field arbitrationId{type, "arbitration_id"};
    const Field isExtended{type, "is_extended_id"};
    const Field isRemote{type, "is_remote_frame"};
    const Field isErrorFrame{type, "is_error_frame"};
    const Field channel{type, "channel"};
    const Field dlc{type, "dlc"};
    const Field data{type, "data"};
    const Field isFd{type, "is_fd"};
    const Field isRx{type, "is_rx"};
    const Field bitRateSwitch{type, "bitrate_switch"};
    const Field errorState{type, "error_state_indicator"};
};

} // namespace

nb::list messagesOf(const Columns &columns, const MessageStyle &style)
{
    const Builder builder(style);
    nb::list messages;
    for (std::size_t row = 0; row < columns.rows(); ++row) {
        if (!style.leavesErrorsOut || !columns.isError[row])
            messages.append(builder.build(columns, row));
    }
    return messages;
}
