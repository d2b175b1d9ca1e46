#include "host/cli/storerequest.h"

#include "canloghandler/canloghandler.h"

#include <QEventLoop>
#include <QFileInfo>
#include <QPointer>

ImportRecord requestImport(ChunkStore &store, const QString &path, DatachunkHelper::ImportFileType type,
                           const QString &text, bool flag)
{
    // A handler for each file: its error text may otherwise be that of an earlier one.
    QPointer<DatachunkHandler> storePointer(&store);
    const CANLogHandler handler(storePointer);
    ImportRecord result;
    QEventLoop loop;
    QObject::connect(&store, &ChunkStore::importFinished, &loop, [&](const ImportRecord &record) {
        result = record;
        loop.quit();
    });
    Q_EMIT store.sigImportRequest(QFileInfo(path).absoluteFilePath(), type, text, flag);
    loop.exec();
    if (result.errorText.isEmpty())
        result.errorText = handler.getLastErrorText();
    return result;
}
