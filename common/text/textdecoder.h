// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

#if QT_VERSION_MAJOR >= 6
#include <QStringConverter>
#else
#include <QTextCodec>
#endif

/**
 * Turns the bytes of a file, block after block, into the text that QTextStream makes of them. The first block tells the
 * encoding: that of its byte-order mark, else the stream's default, which is the system's eight-bit encoding with Qt 5
 * and UTF-8 with Qt 6. Bytes that belong to no character become U+FFFD; those of one that is cut off wait for the next
 * block.
 */
class TextDecoder
{
public:
    QString decode(const char *block, int count)
    {
#if QT_VERSION_MAJOR >= 6
        const QByteArrayView bytes(block, count);
        if (!decoder)
            decoder.emplace(QStringConverter::encodingForData(bytes).value_or(QStringConverter::Utf8));
        return decoder->decode(bytes);
#else
        if (!codec)
            codec = QTextCodec::codecForUtfText(QByteArray::fromRawData(block, count), QTextCodec::codecForLocale());
        return codec->toUnicode(block, count, &*state);
#endif
    }

    /// The next block is the first one of the same file again, whose encoding stays.
    void rewind()
    {
#if QT_VERSION_MAJOR >= 6
        if (decoder)
            decoder->resetState();
#else
        state.emplace();
#endif
    }

private:
#if QT_VERSION_MAJOR >= 6
    std::optional<QStringDecoder> decoder;
#else
    QTextCodec *codec = nullptr;
    std::optional<QTextCodec::ConverterState> state{std::in_place};
#endif
};
