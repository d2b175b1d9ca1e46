#pragma once

#include <QStringView>

#include <vector>

/**
 * The fields of one line, as views into it. One object serves all lines of a file, so that its room is used again.
 *
 * A field that is not there reads as an empty view, at any index.
 */
class Fields
{
public:
    enum EmptyFields { KeepEmpty, SkipEmpty };

    /// The words between runs of white space: what line.simplified().split(' ', Qt::SkipEmptyParts) gives.
    void splitAtBlanks(QStringView line);
    /// The parts between @p separator: what line.split(separator) gives.
    void split(QStringView line, QChar separator, EmptyFields empty);

    int count() const { return int(fields.size()); }
    QStringView operator[](int index) const
    {
        return index >= 0 && index < count() ? fields[std::size_t(index)] : QStringView();
    }
    QStringView last() const { return (*this)[count() - 1]; }
    /// Forgets the last field, if there is one.
    void removeLast()
    {
        if (!fields.empty())
            fields.pop_back();
    }

private:
    std::vector<QStringView> fields;
};

/// White space as QString::simplified() has it.
inline bool isBlank(QChar c)
{
    const ushort code = c.unicode();
    if (code < 0x80)
        return code == ' ' || (code >= '\t' && code <= '\r');
    return c.isSpace();
}
