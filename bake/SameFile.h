#pragma once

#include <QStringList>

/// Throws BakeError where the output is one of the inputs, by whatever path or link.
void refuseSameFile(const QString &output, const QStringList &inputs);
