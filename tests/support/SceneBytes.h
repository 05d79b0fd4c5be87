#pragma once

#include <QByteArray>
#include <QString>

#include <array>
#include <bit>
#include <vector>

/// Scene files written and read value by value, from the layout alone: this header knows nothing of
/// the program's own reader and writer, so that a fault in one of them cannot hide in the other.

struct RawKey {
    double time = 0.0;
    double value = 0.0;
    bool flag = false;
};

struct RawLayer {
    std::vector<std::array<double, 3>> basePoints;
    std::vector<std::array<double, 3>> offsetPoints;
    std::vector<double> mask;
    std::vector<RawKey> keys;
    QString name;
    qint32 type = 0;
    double intensity = 0.0;
    qint32 reserved = 0;
    bool selected = false;
    bool tangent = false;
    qint32 iterations = 0;
    qint32 cloneIterations = 0;
    double damping = 0.0;
    double stiffness = 0.0;
    double asMuscle = 0.0;
};

struct RawScene {
    QString alembicPath;
    std::vector<RawLayer> layers;
};

class SceneBytesWriter {
public:
    static QByteArray write(const RawScene &scene)
    {
        SceneBytesWriter writer;
        writer.text(scene.alembicPath);
        writer.integer(qint32(scene.layers.size()));
        for (const RawLayer &layer : scene.layers)
            writer.layer(layer);
        return writer.m_bytes;
    }

private:
    void bigEndian(quint64 value, int byteCount)
    {
        for (int shift = 8 * (byteCount - 1); shift >= 0; shift -= 8)
            m_bytes.append(char((value >> shift) & 0xFF));
    }
    void integer(qint32 value) { bigEndian(quint32(value), 4); }
    void real(double value) { bigEndian(std::bit_cast<quint64>(value), 8); }
    void flag(bool value) { bigEndian(value ? 1 : 0, 1); }
    void text(const QString &value)
    {
        bigEndian(value.isNull() ? 0xFFFFFFFF : quint32(2 * value.size()), 4);
        for (const QChar unit : value)
            bigEndian(unit.unicode(), 2);
    }
    void points(const std::vector<std::array<double, 3>> &points)
    {
        for (const auto &point : points) {
            for (const double coordinate : point)
                real(coordinate);
        }
    }
    void layer(const RawLayer &layer)
    {
        for (const size_t count : { layer.basePoints.size(), layer.offsetPoints.size(),
                                    layer.mask.size(), layer.keys.size() })
            integer(qint32(count));
        points(layer.basePoints);
        points(layer.offsetPoints);
        for (const double value : layer.mask)
            real(value);
        for (const RawKey &key : layer.keys) {
            real(key.time);
            real(key.value);
            flag(key.flag);
        }
        text(layer.name);
        integer(layer.type);
        real(layer.intensity);
        integer(layer.reserved);
        flag(layer.selected);
        flag(layer.tangent);
        integer(layer.iterations);
        integer(layer.cloneIterations);
        real(layer.damping);
        real(layer.stiffness);
        real(layer.asMuscle);
    }

    QByteArray m_bytes;
};

/// Past the end of the bytes every value is 0.
class SceneBytesReader {
public:
    explicit SceneBytesReader(const QByteArray &bytes)
        : m_bytes(bytes)
    {
    }

    RawScene read()
    {
        RawScene scene;
        scene.alembicPath = text();
        const qint32 count = integer();
        while (qint32(scene.layers.size()) < count && !atEnd())
            scene.layers.push_back(layer());
        return scene;
    }
    bool atEnd() const { return m_at >= m_bytes.size(); }
    bool ranOver() const { return m_ranOver; }

private:
    quint64 bigEndian(int byteCount)
    {
        if (m_at + byteCount > m_bytes.size()) {
            m_at = m_bytes.size();
            m_ranOver = true;
            return 0;
        }
        quint64 value = 0;
        for (int i = 0; i < byteCount; ++i)
            value = (value << 8) | quint8(m_bytes[m_at++]);
        return value;
    }
    qint32 integer() { return qint32(bigEndian(4)); }
    double real() { return std::bit_cast<double>(bigEndian(8)); }
    bool flag() { return bigEndian(1) != 0; }
    QString text()
    {
        const quint64 length = m_at + 4 <= m_bytes.size() ? bigEndian(4) : 0xFFFFFFFF;
        if (length == 0xFFFFFFFF)
            return QString();
        if (quint64(m_bytes.size() - m_at) < length) {
            m_at = m_bytes.size();
            m_ranOver = true;
            return QString();
        }
        QString value = QStringLiteral("");
        for (quint64 i = 0; i < length; i += 2)
            value.append(QChar(ushort(bigEndian(2))));
        return value;
    }
    size_t count(int itemBytes)
    {
        const qint32 count = integer();
        if (count >= 0 && qint64(count) * itemBytes <= m_bytes.size() - m_at)
            return size_t(count);
        m_at = m_bytes.size();
        m_ranOver = true;
        return 0;
    }
    RawLayer layer()
    {
        RawLayer layer;
        layer.basePoints.resize(count(24));
        layer.offsetPoints.resize(count(24));
        layer.mask.resize(count(8));
        layer.keys.resize(count(17));
        for (auto *points : { &layer.basePoints, &layer.offsetPoints }) {
            for (auto &point : *points)
                point = { real(), real(), real() };
        }
        for (double &value : layer.mask)
            value = real();
        for (RawKey &key : layer.keys)
            key = { real(), real(), flag() };
        layer.name = text();
        layer.type = integer();
        layer.intensity = real();
        layer.reserved = integer();
        layer.selected = flag();
        layer.tangent = flag();
        layer.iterations = integer();
        layer.cloneIterations = integer();
        layer.damping = real();
        layer.stiffness = real();
        layer.asMuscle = real();
        return layer;
    }

    QByteArray m_bytes;
    int m_at = 0;
    bool m_ranOver = false;
};
