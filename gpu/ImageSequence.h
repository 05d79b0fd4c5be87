#pragma once

#include <QString>

#include <map>

/// Image file by frame number.
using ImageSequence = std::map<int, QString>;

/// The sequence that a chosen file belongs to: the last run of digits in its name (before the file
/// type) is the frame number, and every file of the folder with the same text around digits of any
/// padding joins. Where two paddings name one frame, the chosen file wins, otherwise the first by
/// name. A name without digits, or with a number that no frame can bear, stands alone at
/// `loneFrame`. Empty when the file is not there.
ImageSequence scanImageSequence(const QString &path, int loneFrame);
