#pragma once

#include "layers/LayerData.h"

#include <QtEndian>

#include <bit>

/// A scene file's bytes, value by value from the layout alone: nothing here is the program's own
/// writer, so that a fault in it cannot hide.
class SceneLayout {
public:
    static QByteArray bytes(const QString &archive, const std::vector<const LayerData *> &layers)
    {
        SceneLayout file;
        file.text(archive);
        file.integer(layers.size());
        for (const LayerData *layer : layers)
            file.layer(*layer);
        return file.m_bytes;
    }

private:
    void integer(qint64 value) { append(qint32(value)); }
    void real(double value) { append(std::bit_cast<quint64>(value)); }
    void flag(bool value) { m_bytes.append(char(value)); }
    void text(const QString &value)
    {
        integer(value.isNull() ? -1 : 2 * value.size());
        for (const QChar unit : value)
            append(unit.unicode());
    }
    template <class Integer> void append(Integer value)
    {
        value = qToBigEndian(value);
        m_bytes.append(reinterpret_cast<const char *>(&value), sizeof value);
    }
    void layer(const LayerData &layer)
    {
        for (const size_t count : { layer.basePoints().size(), layer.offsetPoints().size(),
                                    layer.mask().size(), layer.keys().size() })
            integer(qint64(count));
        for (const PointArray *points : { &layer.basePoints(), &layer.offsetPoints() })
            for (const QVector4D &point : *points)
                for (const float coordinate : { point.x(), point.y(), point.z() })
                    real(double(coordinate));
        for (const float value : layer.mask())
            real(double(value));
        for (const LayerKey &key : layer.keys()) {
            real(key.time);
            real(double(key.value));
            flag(key.flag);
        }
        text(layer.name());
        integer(qint32(layer.kind()));
        real(double(layer.intensity()));
        integer(layer.reserved());
        flag(layer.selected());
        flag(layer.tangent());
        integer(layer.iterations());
        integer(layer.cloneIterations());
        for (const float value : { layer.damping(), layer.stiffness(), layer.asMuscle() })
            real(double(value));
    }

    QByteArray m_bytes;
};
