// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QCoreApplication>
#include <QString>

/// How today's readers gather what a log says beside one frame: texts in one line each, with " | " between them.
/// Private to the library.
class NoteText
{
    Q_DECLARE_TR_FUNCTIONS(NoteText)

public:
    /// Adds @p text to @p note. False when the note would become longer than a note may be: one that fills the memory
    /// serves nobody.
    static bool add(QString &note, const QString &text)
    {
        const QString words = text.simplified();
        if (words.isEmpty())
            return true;
        if (note.size() + words.size() > maxLength)
            return false;
        if (!note.isEmpty())
            note += QLatin1String(" | ");
        note += words;
        return true;
    }
    /// What to report then.
    static QString fullText()
    {
        return tr("there is more text beside one frame than the %1 characters that are kept").arg(maxLength);
    }

private:
    static constexpr int maxLength = 1024 * 1024; // in characters
};
