#include "host/convert/framewriter.h"

FrameWriter::~FrameWriter() = default;

QVector<FrameWriter::LossCount> FrameWriter::losses() const
{
    static const std::array<QString, lossKinds> names{
        QStringLiteral("note"),
        QStringLiteral("Tx direction"),
        QStringLiteral("error state indicator"),
        QStringLiteral("channel 0 frame"),
        QStringLiteral("out-of-range time"),
        QStringLiteral("impossible length"),
    };
    QVector<LossCount> result;
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (lossCounts[i] > 0)
            result.append({names[i], lossCounts[i]});
    }
    return result;
}

bool FrameWriter::fail(const QString &reason)
{
    error = reason;
    return false;
}
