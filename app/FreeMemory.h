#pragma once

#include <QtGlobal>

/// Bytes that this process could still take: what the machine has free or can free at once, within
/// the limits of its control group and of the process. The largest number where nothing says.
quint64 freeMemory();
