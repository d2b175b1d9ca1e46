// SPDX-License-Identifier: Apache-2.0
#include "host/reading/detect.h"

#include "host/store/chunkformat.h"
#include "readers/formats.h"
#include "readers/framereader.h"

#include <QBuffer>
#include <QFile>
#include <QRegularExpression>
#include <QStringList>
#include <QTextStream>
#include <QVector>

#include <algorithm>

namespace
{

constexpr int beginningLength = 65536;
constexpr int fewLines = 32;
constexpr int maximumLineLength = 1024; // no tool writes longer ones; a text without line ends is soon done with

constexpr int likelyScore = 30;
constexpr int certainScore = 100;
constexpr int strangersPerLine = 3; // logs of a terminal hold other lines too, but a text that quotes frames is no log

/// The pattern of a length and as many bytes as it says.
QString lengthAndBytes()
{
    QStringList alternatives{QStringLiteral("0")};
    for (const int length : {1, 2, 3, 4, 5, 6, 7, 8, 12, 16, 20, 24, 32, 48, 64})
        alternatives.append(QStringLiteral("%1(?:\\s+%h{1,3}){%1}").arg(length));
    return QStringLiteral("(?:%1)").arg(alternatives.join(QLatin1Char('|')));
}

QRegularExpression compiled(const char *pattern)
{
    QString text = QString::fromLatin1(pattern);
    text.replace(QLatin1String("%n"), lengthAndBytes());
    text.replace(QLatin1String("%t"), QLatin1String("\\d+\\.\\d+"));
    text.replace(QLatin1String("%c"), QLatin1String(R"(\((?:\d+(?:\.\d+)?|\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d+)\))"));
    text.replace(QLatin1String("%h"), QLatin1String("[0-9A-Fa-f]"));
    return QRegularExpression(text);
}

using Role = LineSign::Role;

/// A sign of a format with its pattern compiled.
struct Rule : LineSign {
    QRegularExpression regularExpression;
};

struct Signature {
    DatachunkHelper::ImportFileType type;
    QVector<Rule> rules;
};

/// Of two formats that read as many frames the earlier one is taken.
const QVector<Signature> &signatures()
{
    static const QVector<Signature> table = [] {
        QVector<Signature> all;
        for (const LogFormat &format : logFormats()) {
            Signature signature{format.type, {}};
            for (const LineSign &sign : format.signs)
                signature.rules.append(Rule{sign, compiled(sign.pattern)});
            if (!signature.rules.isEmpty())
                all.append(signature);
        }
        return all;
    }();
    return table;
}

/// The lines that matched one rule.
struct Matches {
    int count = 0;
    int firstLine = 0;
};

/// How well a text fits one format.
class Candidate
{
public:
    explicit Candidate(const Signature &formatSignature)
        : signature(formatSignature)
        , matches(formatSignature.rules.size())
    {
        for (const Rule &rule : signature.rules)
            begun = begun && rule.role != Role::Opening;
    }

    DatachunkHelper::ImportFileType type() const { return signature.type; }

    void look(const QString &line, int number)
    {
        if (refuted || line.trimmed().isEmpty())
            return;
        const bool isShort = line.size() <= maximumLineLength;
        const QVector<Rule> &rules = signature.rules;
        const auto found = std::find_if(rules.cbegin(), rules.cend(), [&](const Rule &rule) {
            const bool isAsked = begun || rule.role != Role::Frame; // before that it would count for nothing
            return isShort && isAsked && rule.regularExpression.match(line).hasMatch();
        });
        if (found != rules.cend())
            count(int(found - rules.cbegin()), number);
        else if (begun && line.endsWith(QLatin1Char('\n')))
            ++strangers; // a line without an end may be one that was cut off
    }

    /// Whether the text can be a log of this format. Without a frame nothing may contradict the header.
    bool fits() const
    {
        if (refuted || points() < likelyScore)
            return false;
        return frames() > 0 ? strangers <= strangersPerLine * total() : strangers == 0;
    }
    bool isCertain() const { return points() >= certainScore && strangers <= total(); }
    /// Whether the lines that come need not be looked at.
    bool leavesNoDoubt() const { return isCertain() && strangersPerLine * strangers <= total(); }

    bool isBetterThan(const Candidate &other) const
    {
        return frames() != other.frames() ? frames() > other.frames() : points() > other.points();
    }

    /// For example "version line (line 1), frames of this version (25 lines from line 13)".
    QString reason() const
    {
        QStringList parts;
        for (int i = 0; i < matches.size(); ++i) {
            const Matches &match = matches.at(i);
            const Rule &rule = signature.rules.at(i);
            if (match.count > 0 && rule.weight > 0)
                parts.append(QStringLiteral("%1 (%2)").arg(QString::fromLatin1(rule.name), linesText(match)));
        }
        return parts.join(QLatin1String(", "));
    }

private:
    static QString linesText(const Matches &match)
    {
        if (match.count == 1)
            return QStringLiteral("line %1").arg(match.firstLine);
        return QStringLiteral("%1 lines from line %2").arg(match.count).arg(match.firstLine);
    }

    void count(int rule, int number)
    {
        const Role role = signature.rules.at(rule).role;
        begun = begun || role == Role::Opening;
        refuted = refuted || role == Role::Never;
        if (matches[rule].count++ == 0)
            matches[rule].firstLine = number;
    }

    template <typename Value>
    int sum(Value value) const
    {
        int result = 0;
        for (int i = 0; i < matches.size(); ++i)
            result += value(signature.rules.at(i), matches.at(i).count);
        return result;
    }
    int points() const
    {
        return sum([](const Rule &rule, int count) {
            return rule.weight * (rule.role == Role::Frame ? count : qMin(count, 1));
        });
    }
    int frames() const
    {
        return sum([](const Rule &rule, int count) { return rule.role == Role::Frame ? count : 0; });
    }
    /// Lines that speak for the format.
    int total() const
    {
        return sum([](const Rule &rule, int count) { return rule.weight > 0 ? count : 0; });
    }

    Signature signature;
    QVector<Matches> matches; ///< of the signature's rules
    int strangers = 0;        ///< lines that do not belong to the format
    bool begun = true;
    bool refuted = false;
};

/// Of a file like those that 'canlog convert' writes.
Detection convertedLog(const QString &reason)
{
    return {{}, false, reason, QStringLiteral("that is not read back, name the log that it was made from")};
}

/// The lines at the beginning of @p device with one line feed each, as the readers get them; the last one without when
/// the file ends so.
QStringList firstLines(QIODevice &device)
{
    QTextStream stream(&device);
    const QString text = stream.read(beginningLength);
    QStringList lines;
    for (int start = 0; start < text.size();) {
        const int end = int(text.indexOf(QLatin1Char('\n'), start));
        if (end < 0) {
            if (stream.atEnd())
                lines.append(text.mid(start));
            break;
        }
        const bool isWindows = end > start && text.at(end - 1) == QLatin1Char('\r');
        lines.append(text.mid(start, end - start - (isWindows ? 1 : 0)) + QLatin1Char('\n'));
        start = end + 1;
    }
    return lines;
}

/// Of a text that fits no format and begins with @p firstLine. What 'canlog convert' writes may come back.
Detection noLog(const QString &firstLine)
{
    const std::pair<const char *, QString> outputs[] = {
        {R"(^time,channel,direction,id,)", QStringLiteral("CSV")},
        {R"(^\{"time":-?[\d.]+,"channel":\d+,"direction":)", QStringLiteral("JSON")},
    };
    for (const auto &[pattern, name] : outputs) {
        if (compiled(pattern).match(firstLine).hasMatch())
            return convertedLog(QStringLiteral("is %1 as 'canlog convert' writes it").arg(name));
    }
    if (compiled(R"re(^"?No\."?,"?Time"?,.*"?Info"?\s*$)re").match(firstLine).hasMatch()) {
        return {{},
                false,
                QStringLiteral("is a packet list of Wireshark without CAN frames and their bytes"),
                QStringLiteral("export it with the bytes in the column Info, as the dissector 'can' shows them")};
    }
    return {{}, false, QStringLiteral("its first lines are those of no log that canlog knows"), {}};
}

/// A file that people try to read and that is no log of a format here, known by its first bytes.
struct OtherFile {
    QByteArray beginning;
    const char *what;
    const char *advice;
};

const QVector<OtherFile> &otherFiles()
{
    static const char pcapAdvice[] = "open it in Wireshark and export the packet list, with the bytes of the frames in "
                                     "the column Info, as CSV";
    static const QVector<OtherFile> files{
        {"\xFD\x37zXZ", "is compressed by xz", "unpack it on the way: 'xz -dc FILE | canlog show -'"},
        {"\x28\xB5\x2F\xFD", "is compressed by zstd", "unpack it on the way: 'zstd -dc FILE | canlog show -'"},
        {"BZh", "is compressed by bzip2", "unpack it on the way: 'bzip2 -dc FILE | canlog show -'"},
        {"\x04\x22\x4D\x18", "is compressed by lz4", "unpack it on the way: 'lz4 -dc FILE | canlog show -'"},
        {"7z\xBC\xAF\x27\x1C", "is a 7z archive", "unpack it first"},
        {"Rar!", "is a RAR archive", "unpack it first"},
        {"\x0A\x0D\x0D\x0A", "is a pcapng capture of a network", pcapAdvice},
        {"\xD4\xC3\xB2\xA1", "is a pcap capture of a network", pcapAdvice},
        {"\xA1\xB2\xC3\xD4", "is a pcap capture of a network", pcapAdvice},
        {"\x4D\x3C\xB2\xA1", "is a pcap capture of a network", pcapAdvice},
        {"\xA1\xB2\x3C\x4D", "is a pcap capture of a network", pcapAdvice},
        {"MDF     ", "is an MDF measurement (MF4)", "export its CAN frames as ASC or BLF with the tool that wrote it"},
        {"UnFinMF ", "is an MDF measurement that was not finished",
         "have the tool that wrote it finish it, and export its CAN frames as ASC or BLF"},
        {"PAR1", "is a Parquet file", "its columns are for data tools; name the log that it was made from"},
        {"%PDF", "is a PDF document", "name the log itself"},
    };
    return files;
}

QVector<Candidate> fittingFormats(const QStringList &lines)
{
    QVector<Candidate> fitting;
    for (const Signature &signature : signatures()) {
        Candidate candidate(signature);
        for (int i = 0; i < lines.size(); ++i)
            candidate.look(lines.at(i), i + 1);
        if (candidate.fits())
            fitting.append(candidate);
    }
    return fitting;
}

/// Whether the reader of @p type takes @p lines: it must not drop one that should be a frame, nor end at one. A kind
/// of frame that it leaves out is no wonder as long as there are others.
bool areTaken(const QStringList &lines, DatachunkHelper::ImportFileType type)
{
    const bool mayBeCutOff = lines.size() > 1 && !lines.constLast().endsWith(QLatin1Char('\n'));
    QByteArray text = "\xEF\xBB\xBF" + lines.mid(0, lines.size() - (mayBeCutOff ? 1 : 0)).join(QString()).toUtf8();
    QBuffer buffer(&text);
    const std::unique_ptr<FrameReader> reader = makeReader(type);
    if (!reader || !buffer.open(QIODevice::ReadOnly) || !reader->open(buffer, {}))
        return false;
    while (reader->next()) {
    }
    const ImportReport report = reader->report();
    const auto leftOut = std::count_if(report.faults.cbegin(), report.faults.cend(),
                                       [](const auto &fault) { return fault.reason == ImportReport::Reason::NotRead; });
    return report.droppedLines <= (report.messages > 0 ? leftOut : 0);
}

Detection detectText(const QStringList &lines)
{
    // Few lines of most logs fit one format only and leave no doubt; to look at all of them takes ten times as long.
    QStringList looked = lines.mid(0, fewLines);
    QVector<Candidate> fitting;
    if (lines.size() > fewLines)
        fitting = fittingFormats(looked);
    if (fitting.size() != 1 || !fitting.constFirst().leavesNoDoubt()) {
        looked = lines;
        fitting = fittingFormats(lines);
    }
    if (fitting.isEmpty())
        return noLog(lines.value(0));
    const auto best = std::max_element(fitting.cbegin(), fitting.cend(),
                                       [](const Candidate &a, const Candidate &b) { return b.isBetterThan(a); });
    return {best->type(), best->isCertain() && areTaken(looked, best->type()), best->reason(), {}};
}

} // namespace

Detection detectFormat(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? detectFormat(file) : Detection{{}, false, file.errorString(), {}};
}

Detection detectFormat(QIODevice &device)
{
    if (device.atEnd())
        return {{}, false, QStringLiteral("is empty"), QStringLiteral("check how it was recorded or copied")};
    if (ChunkFormat::beginsAsChunk(device))
        return {DatachunkHelper::QclFile, true, QStringLiteral("begins as a data chunk does"), {}};
    device.seek(0);
    const QByteArray beginning = device.peek(16);
    if (beginning.startsWith("PK\x03\x04") || beginning.startsWith("PK\x05\x06")) {
        return {{},
                false,
                QStringLiteral("is a zip archive"),
                QStringLiteral("load it with 'canlog merge' or 'canlog unzip' if 'canlog zip' wrote it, or else unpack "
                               "it first")};
    }
    for (const LogFormat &format : logFormats()) {
        if (!format.magic.isEmpty() && beginning.startsWith(format.magic))
            return {format.type,
                    true,
                    QStringLiteral("begins with %1, its mark").arg(QString::fromLatin1(format.magic)),
                    {}};
    }
    if (beginning == QByteArray("SQLite format 3", 16)) // with the zero at its end
        return convertedLog(QStringLiteral("is a SQLite database"));
    for (const OtherFile &other : otherFiles()) {
        if (beginning.startsWith(other.beginning))
            return {{}, false, QString::fromLatin1(other.what), QString::fromLatin1(other.advice)};
    }
    return detectText(firstLines(device));
}
