// SPDX-License-Identifier: Apache-2.0
// Pulls the frames out of a candump log, without a store, and prints how many there are.

#include <readers/formats.h>
#include <readers/framereader.h>

#include <QTextStream>

int main(int, char *argv[])
{
    const std::unique_ptr<FrameReader> reader = makeReader(DatachunkHelper::SocketCanDump);
    reader->open(QString::fromLocal8Bit(argv[1]));
    while (reader->next()) {
    }
    QTextStream(stdout) << reader->frameCount() << " messages\n";
    return reader->atEnd() ? 0 : 1;
}
