// SPDX-License-Identifier: Apache-2.0
#include "readers/listreader.h"

void ListReader::failAtLine(QStringView where)
{
    const QString text = QCoreApplication::translate(context, "Import error occured at line %1 of file %2.");
    watch.drop(ImportWatch::Reason::EndsImport, where);
    fail(text.arg(QString::number(lineNumber()), name()));
}

QString ListReader::noColumnsText() const
{
    return QCoreApplication::translate(context, "Import error occured. No valid column description found.");
}
