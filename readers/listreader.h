// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "readers/textreader.h"

/**
 * A reader whose grammar an importer class offers line by line, too: the importer owns one and uses its watch and its
 * grammar, which both outlast a file. Its texts are translated as that class's. Private to the library.
 */
class ListReader : public TextReader
{
public:
    /// Where lines from elsewhere than a log are watched.
    ImportWatch &lineWatch() { return watch; }

protected:
    /// @p importerClass is the context of the translations.
    explicit ListReader(const char *importerClass)
        : context(importerClass)
    {
    }

    /// As TextReader::failAtLine(), with the text of the importer class.
    void failAtLine(QStringView where);
    QString noColumnsText() const;

private:
    const char *const context;
};
