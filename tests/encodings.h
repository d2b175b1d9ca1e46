// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QRegularExpression>
#include <QString>

#if QT_VERSION_MAJOR >= 6
#include <QStringConverter>
#else
#include <QTextCodec>
#endif

/// @p text in the encoding called @p name; in those of 16 and 32 bits a byte-order mark stands before it.
inline QByteArray encoded(const char *name, const QString &text)
{
#if QT_VERSION_MAJOR >= 6
    const bool isUtf8 = qstrcmp(name, "UTF-8") == 0;
    QStringEncoder encoder(name, isUtf8 ? QStringConverter::Flag::Default : QStringConverter::Flag::WriteBom);
    if (!encoder.isValid())
        qFatal("no encoding: %s", name);
    return encoder.encode(text);
#else
    return QTextCodec::codecForName(name)->fromUnicode(text);
#endif
}

/// Whether Qt's conversions may take another number out of @p text than those of Qt 5, whose rules hold for logs: Qt 6
/// knows no blanks beyond ASCII, ends at a character 0, and reads "0b1" in base 0. There, tests that call Qt to know
/// what must come out leave such texts out; with Qt 5 they leave out none.
inline bool isReadOtherwiseByQt(const QString &text)
{
    if (QT_VERSION_MAJOR < 6)
        return false;
    static const QRegularExpression odd(
        QStringLiteral("[\\x{0}\\x{85}\\x{A0}\\x{1680}\\x{2000}-\\x{200A}\\x{2028}\\x{2029}"
                       "\\x{202F}\\x{205F}\\x{3000}]|(?<![0-9A-Za-z])0[bB][01]"));
    return text.contains(odd);
}

#if QT_VERSION_MAJOR < 6

/// Has the system use another eight-bit encoding, for one test. What has no byte-order mark is read in it.
class LocaleEncoding
{
public:
    static constexpr bool canBeSet = true;
    static void set(const char *name) { QTextCodec::setCodecForLocale(QTextCodec::codecForName(name)); }

    explicit LocaleEncoding(const char *name)
        : former(QTextCodec::codecForLocale())
    {
        set(name);
    }
    ~LocaleEncoding() { QTextCodec::setCodecForLocale(former); }

private:
    Q_DISABLE_COPY(LocaleEncoding)

    QTextCodec *const former;
};

#else

/// Qt 6 takes what has no byte-order mark for UTF-8 wherever it runs: there is nothing to set.
class LocaleEncoding
{
public:
    static constexpr bool canBeSet = false;
    static void set(const char *) {}

    explicit LocaleEncoding(const char *) {}
    ~LocaleEncoding() {} // not trivial, or an object of it would count as unused

private:
    Q_DISABLE_COPY(LocaleEncoding)
};

#endif
