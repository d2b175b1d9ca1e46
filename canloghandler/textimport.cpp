#include "canloghandler/textimport.h"

#include <new>

TextImport::TextImport(const QString &path, CANLogHandler *handler)
    : file(path)
    , batch([this] { return link.store(); })
    , link(handler)
{
    watch.setProgress([this](qint64 bytesRead, qint64 bytesTotal) { link.tellProgress(bytesRead, bytesTotal); });
    watch.setContinuation([this] { return link.isAlive(); });
}

TextImport::~TextImport()
{
    try {
        link.setReport(watch.finishedReport(batch.messageCount()));
    } catch (const std::bad_alloc &) {
        // It ended the import already, and may not leave a destructor.
    }
}

bool TextImport::open()
{
    if (!file.open(QIODevice::ReadOnly))
        return false;
    lines.emplace(file, watch);
    return true;
}

bool TextImport::finish()
{
    if (watch.isInterrupted())
        return false;
    batch.finish();
    file.close();
    return link.isAlive();
}
