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
    const bool saysSomething = import.result.log.start.isValid() || !import.result.log.channelNames.isEmpty()
                               || import.result.log.timeBase != LogInfo::TimeBase::Unknown;
    if (saysSomething && import.record.state == ImportRecord::State::Succeeded)
        store.setLogInfo(store.imports().size(), import.result.log);
    if (import.record.errorText.isEmpty())
        import.record.errorText = import.result.errorText;
    return import;
}
