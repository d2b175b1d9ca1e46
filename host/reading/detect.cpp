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

/// What a line says of a format.
enum class Role {
    Frame,    ///< its reader makes something of this line, once the format has begun
    Sign,     ///< a header line of this format
    Opening,  ///< the header line without which its reader takes nothing; what is before it is free text
    Ordinary, ///< may occur, but says nothing
    Never,    ///< the file has another format
};

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

/// A kind of line. `%h` in a pattern is a hexadecimal digit, `%t` a time in seconds with a fraction, `%c` a time in
/// parentheses as candump has it, `%n` a length with as many bytes. A line keeps its line feed, so that a pattern can
/// demand it where a line that is cut off looks like one of another format.
struct Rule {
    Role role;
    int weight; ///< in points, of each frame or of all header lines; likelyScore of them make a format likely
    const char *name;
    QRegularExpression pattern;

    Rule(Role itsRole, int itsWeight, const char *itsName, const char *itsPattern)
        : role(itsRole)
        , weight(itsWeight)
        , name(itsName)
        , pattern(compiled(itsPattern))
    {
    }
};

struct Signature {
    DatachunkHelper::ImportFileType type;
    QVector<Rule> rules; ///< the first one that a line matches decides; those of frames stand behind the header lines
};

/// Of two formats that read as many frames the earlier one is taken.
const QVector<Signature> &signatures()
{
    static const QVector<Signature> table{
        {DatachunkHelper::NorvikTxt,
         {{Role::Frame, 60, "frames with a length in parentheses",
           R"(^\s*%t\s+(?:%h{1,8}(?:/\S*)?|\S*Error\S*)\s+\(\d{1,3}\):\s)"}}},
        {DatachunkHelper::PcanTrace,
         {{Role::Sign, 100, "version line", R"(^;\$FILEVERSION=[1-3]\.\d\s*$)"},
          {Role::Sign, 40, "column line", R"(^;\$COLUMNS=[A-Za-z,]+\s*$)"},
          {Role::Frame, 50, "frames of version 1",
           R"(^\s*\d+\)\s+\d+(?:[.,]\d+)?\s+(?:\d{1,2}\s+)?(?:Rx|Tx|Warng|Error)\s+%h{4,8}\s+(?:-\s+)?\d{1,2}\s)"},
          {Role::Frame, 50, "frames of version 1.0",
           R"(^\s*\d+\)\s+\d+\s+(?:%h{4}|%h{8})\s+[0-8](?:\s+(?:RTR|ERROR|%h{2})\s|\s*$))"},
          {Role::Frame, 50, "frames of version 2", R"(^\s*\d+\s+\d+[.,]\d+\s+(?:DT|RR|FD|FB|FE|BI|XL|ER|ST|EC|EV)\s)"},
          // With a version line the columns may stand in any order, and the numbers without a parenthesis.
          {Role::Ordinary, 0, "", R"(^\s*(?:;|\d.*\s(?:DT|RR|FD|FB|FE|BI|XL|ER|ST|EC|EV|Rx|Tx|Warng|Error)\s))"}}},
        {DatachunkHelper::Candump,
         {{Role::Frame, 50, "frames as in a log file",
           R"(^\s*%c\s+\S{1,21}\s+%h{3,8}#)"
           R"((?:(?:#%h)?(?:%h%h\.?)*|[Rr]\d?|%h%h:%h%h:%h{8}#%h*)(?:_%h)?(?:\s+[RT])?\s*$)"},
          // Before and behind them colours (ESC ... m), and what the animation of option -s takes back.
          {Role::Frame, 50, "frames as on the screen",
           R"(^(?:[|/\\-]\x08)*\s*(?:\x1B\[[\d;]*m)*\s*(?:%c\s+)?(?:\x1B\[[\d;]*m)*[\w.@:-]{1,21}(?:\x1B\[[\d;]*m)*\s+)"
           R"((?:[RT]X\s+[-B]\s+[-E]\s+)?(?:%h{3}|%h{8})\s+(?:\[(?:\d\d?|\d{4})\]|\{[9A-F]\}))"
           R"((?:\s+(?:%h{2}|[01]{8}|%h{2}`[`\w]*|remote request|ERRORFRAME|\(\S+\)|'.*)(?:\s|\x1B|$)|\s*(?:\x1B|$)))"},
          {Role::Frame, 50, "frames as of old",
           R"(^\s*<0x%h{3,8}>\s+\[\d\](?:\s+(?:%h{2}|remote request)(?:\s|$)|\s*$))"},
          {Role::Ordinary, 0, "", R"(^(?:\s*#|DROPCOUNT:|interface = |\t))"}}},
        {DatachunkHelper::KvaserTxtLog,
         {{Role::Never, 0, "", R"(^\s*(?:base\s+(?:hex|dec)\b|(?i:Begin Triggerblock)))"},
          {Role::Opening, 20, "trigger line", R"(\bTrigger\b)"},
          {Role::Sign, 60, "field format lines", R"(^\s*Format of (?:data|id) field:)"},
          {Role::Frame, 30, "frames after it", R"(^\s*%t\s+\d+\s+%h{1,8}\s+(?:\S+\s+){1,2}%n\s+\S+\s*$)"},
          {Role::Ordinary, 0, "", R"(^\s*%t\s+\d+\s)"}}},
        {DatachunkHelper::KvaserCanKingLog,
         {{Role::Sign, 60, "column titles", R"(^\s*Chn\s+Identifier\s+Flg\s+DLC\b)"},
          {Role::Frame, 30, "frames with the time near the end",
           R"(^ *\d{1,2} +%h{1,8} +(?:[A-Za-z]{1,3} +)?%n +%t +[RT]x?\s*$)"}}},
        {DatachunkHelper::VectorAsc,
         {{Role::Sign, 40, "number base", R"(^\s*base\s+(?:hex|dec)\b)"},
          {Role::Sign, 40, "trigger block", R"((?i:^\s*Begin Triggerblock))"},
          {Role::Frame, 50, "frames",
           // Files of other columns (GenericFile) have capital letters there, and so do few logs, which have a header.
           R"(^\s*-?%t\s+\d+\s+\S+\s+(?:(?i:Rx|Tx|TxRq)\s+(?:d\s+(?:#\s+)?(?:%h|1[0-5])|r)|--\s+r)(?:\s|$))"},
          {Role::Frame, 60, "CAN FD frames", R"((?i:^\s*-?%t\s+CAN(?:FD|XL)\s+\d+\s+(?:Rx|Tx|TxRq)\s))"},
          {Role::Frame, 50, "error frames", R"((?i:^\s*-?%t\s+\d+\s+ErrorFrame))"},
          {Role::Ordinary, 0, "",
           R"((?i:^\s*(?:-?%t\s|//|;|date\s|(?:no\s+)?internal event|End TriggerBlock|DateTime)))"}}},
        {DatachunkHelper::BusmasterLog,
         {{Role::Opening, 100, "first line", R"(^[\s-]*\*\*\*BUSMASTER\b.*\*\*\*\s*$)"},
          {Role::Sign, 20, "header lines", R"(^\*\*\*)"},
          {Role::Frame, 30, "rows", R"(^\s*\d+:\d+:\d+:\d{3,4}\s)"},
          {Role::Ordinary, 0, "", R"((?i:\.(?:dbf|dbc)\s*$))"}}}, // the databases that were loaded
        {DatachunkHelper::GvretCsv,
         {{Role::Opening, 100, "column titles", R"((?i:^\s*Time Stamp[,;]ID[,;]Extended[,;].*\bD1\b))"},
          {Role::Frame, 30, "rows", R"(^\s*-?[\d.]+[,;](?:0x)?%h+[,;])"}}},
        {DatachunkHelper::PythonCanCsv,
         {{Role::Sign, 100, "column titles", R"(^timestamp,arbitration_id,extended,remote,error,dlc,data\s*$)"},
          // A log that was begun by appending has no titles: then the prefix of the identifier tells it.
          {Role::Frame, 30, "rows", R"(^-?\d[\d.e+-]*,0x%h+,[01],[01],[01],\d\d?,[\w+/=]*\s*$)"},
          {Role::Ordinary, 0, "", R"(^-?\d[\d.e+-]*,%h+,[01],[01],[01],)"}}},
        {DatachunkHelper::SemicolonCsv,
         {{Role::Opening, 100, "column titles", R"((?i:^\s*TimestampEpoch;BusChannel;ID;.*\bIDE\b.*\bDataBytes\b))"},
          {Role::Frame, 30, "rows", R"(^\s*\d+(?:\.\d+)?;[^;]*;%h+;[01];)"}}},
        {DatachunkHelper::CoCTTLog,
         {{Role::Frame, 60, "Test CAN lines",
           R"(^\s*(?:\d+\s+:\s+)?(?:\d\d:\d\d:\d\d\.\d{3}\s+:\s+)?Test CAN\s+:\s+\S+\s+%h{1,8}\s+[RT]x\s+\S+\s+\d)"},
          {Role::Frame, 30, "test notes",
           R"(^\s*\d+\s+:\s+(?:\d\d:\d\d:\d\d\.\d{3}\s+:\s+)?Test (?:Notice|Info|Error)\s+:\s)"},
          {Role::Ordinary, 0, "", R"(^\s*\d+\s+:\s)"}}},
        {DatachunkHelper::IxxatLog,
         {{Role::Opening, 60, "column titles",
           R"re(^(?=.*Time)(?=.*ID \(hex\))(?=.*Data \(hex\))[^,;]*(?:[,;][^,;]*){5,}$)re"},
          {Role::Opening, 10, "column titles", R"re(^(?=.*Time)(?=.*ID)(?=.*Data)[^,;]*(?:[,;][^,;]*){5,}$)re"},
          {Role::Frame, 30, "frames after them",
           R"re(^(?=(?:.*[,;])?"?(?:\d+:\d\d:\d\d(?:\.\d+){0,2}|\d+(?:\.\d+){1,2})"?\s*(?:[,;]|$)))re"
           R"re((?=(?:.*[,;])?"?(?:%h{2}(?: %h{2})+|Remote Frame)"?\s*(?:[,;]|$))[^,;]*(?:[,;][^,;]*){5,}$)re"},
          {Role::Ordinary, 0, "",
           R"re((?:^|[,;])"?(?:\d+:\d\d:\d\d(?:\.\d+){0,2}|\d+(?:\.\d+){1,2})"?\s*(?:[,;]|$))re"}}},
        {DatachunkHelper::WiresharkCsv,
         {{Role::Sign, 50, "column titles", R"re(^"?No\."?,"?Time"?,.*"?Protocol"?,.*"?Info"?\s*$)re"},
          {Role::Frame, 50, "CAN packets",
           R"re(^"?\d+"?,"?\(?\d+(?:\.\d+)?\)?"?,[^,]*,[^,]*,"?CAN(?:FD)?"?,.*(?:STD|XTD|ERR): 0x)re"}}},
    };
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
            return isShort && isAsked && rule.pattern.match(line).hasMatch();
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
        const int end = text.indexOf(QLatin1Char('\n'), start);
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
    return {{}, false, QStringLiteral("its first lines are those of no log that canlog knows"), {}};
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
    if (beginning == QByteArray("SQLite format 3", 16)) // with the zero at its end
        return convertedLog(QStringLiteral("is a SQLite database"));
    return detectText(firstLines(device));
}
