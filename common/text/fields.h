// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QString>
#include <QStringList>
#include <QStringView>

#include <algorithm>
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
    /// The parts between @p separator, which is not empty: what line.split(separator) gives.
    void split(QStringView line, QStringView separator);
    /// The parts between @p separator, where each @p quote is dropped and a separator between two of them is text. An
    /// empty last part is left out. A part with quotes inside is a view into this object.
    void splitQuoted(QStringView line, QChar separator, QChar quote);
    /// The texts of @p list, as views into them.
    void assign(const QStringList &list);

    int count() const { return int(used / 2); }
    QStringView operator[](int index) const
    {
        const std::size_t at = 2 * std::size_t(index);
        return index >= 0 && at < used ? QStringView(ends[at], ends[at + 1]) : QStringView();
    }
    QStringView last() const { return (*this)[count() - 1]; }
    /// Reads fields of two hexadecimal digits as bytes into @p data: from @p first on, @p wanted at the most, eight at
    /// once. It ends before the first eight that are not all such fields, and reads none when fewer than eight are
    /// there. Returns how many were read; the others are the caller's to read, one by one.
    int readPairsByEights(int first, int wanted, quint8 *data) const;
    /// Forgets the field at @p index, if there is one; those after it move up.
    void remove(int index);
    /// Forgets the last field, if there is one.
    void removeLast() { used -= used > 0 ? 2 : 0; }

private:
    void makeRoom(std::size_t more)
    {
        if (ends.size() < used + more)
            ends.resize(2 * (used + more));
    }
    void append(const QChar *begin, const QChar *end)
    {
        makeRoom(2);
        ends[used++] = begin;
        ends[used++] = end;
    }
    template <typename SeparatorsOf>
    void splitAtRuns(QStringView line, SeparatorsOf separatorsOf);
    template <typename SeparatorsOf>
    void splitAtEach(QStringView line, SeparatorsOf separatorsOf);

    std::vector<const QChar *> ends; ///< where each field begins and where it ends; the first `used` are of this line
    std::size_t used = 0;
    QString unquoted; ///< parts of splitQuoted() without their quotes
};

/// What text.simplified() gives, as a view into @p text when it is simple already, as nearly all lines are, and else
/// into @p room.
QStringView simplified(QStringView text, QString &room);

/// Whether @p field is the literal @p text. Qt's comparison is a call, which takes longer than so few characters.
template <std::size_t size>
inline bool isText(QStringView field, const char16_t (&text)[size])
{
    return field.size() == qsizetype(size) - 1 && std::equal(field.begin(), field.end(), text);
}

/// White space as QString::simplified() has it.
inline bool isBlank(QChar c)
{
    const ushort code = c.unicode();
    if (code < 0x80)
        return code == ' ' || (code >= '\t' && code <= '\r');
    return c.isSpace();
}
