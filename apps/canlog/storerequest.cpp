// SPDX-License-Identifier: Apache-2.0
#include "apps/canlog/storerequest.h"

#include <QFileInfo>

StoreImport requestImport(ChunkStore &store, FileRequest request, ProgressBar *bar)
{
    StoreImport import;
    const auto connection = QObject::connect(&store, &ChunkStore::importFinished,
                                             [&](const ImportRecord &record) { import.record = record; });
    if (!request.stream)
        request.path = QFileInfo(request.path).absoluteFilePath();
    import.result = readFile(store, request, bar);
    QObject::disconnect(connection);
    if (import.record.errorText.isEmpty())
        import.record.errorText = import.result.errorText;
    return import;
}
