// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QString>

/// What an error frame of SocketCAN says, in words: the classes in the lower bits of @p id, with the details in the
/// eight bytes of @p data.
QString socketCanErrorText(quint32 id, const quint8 *data);
