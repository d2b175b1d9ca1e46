#include "canloghandler/textimport.h"

TextImport::TextImport(const QString &path, const QPointer<DatachunkHandler> &store, ImportReport &handlersReport,
                       const ImportWatch::Progress &progress)
    : file(path)
    , batch(store)
    , report(handlersReport)
{
    watch.setProgress(progress);
}

TextImport::~TextImport()
{
    report = watch.finishedReport(batch.messageCount());
}

bool TextImport::open()
{
    if (!file.open(QIODevice::ReadOnly)) {
        watch.setReadError(file.errorString());
        return false;
    }
    lines.emplace(file, watch);
    return true;
}

bool TextImport::finish()
{
    if (watch.isInterrupted())
        return false;
    batch.finish();
    file.close();
    return true;
}
