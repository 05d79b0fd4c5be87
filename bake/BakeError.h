#pragma once

#include <QString>

#include <stdexcept>

/// What ends a bake or a join: a sentence for the user, without a full stop.
class BakeError : public std::runtime_error {
public:
    explicit BakeError(const QString &sentence)
        : std::runtime_error(sentence.toStdString())
    {
    }
};
