#pragma once

#include "layers/Topology.h"
#include "reference/Deform.h"
#include "support/SceneLayout.h"

#include <map>
#include <memory>
#include <random>

/// What the program should hold, by plain copies, and display, by the reference's plain loops.
struct ProgramModel {
    using LayerPointer = std::shared_ptr<LayerData>;
    struct Edit {
        LayerPointer layer;
        PointArray deltas; ///< empty for a stroke of a mask
        std::vector<float> before, after;
    };
    /// A jiggle layer's points while playing.
    struct Swing {
        reference::Pose previous, current;
    };
    struct File {
        QString archive;
        std::vector<LayerData> layers;
    };

    QString archive = QStringLiteral("untitled"), scene = QStringLiteral("untitled");
    std::vector<LayerPointer> layers;
    std::vector<Edit> done, undone;
    int firstFrame = 0, lastFrame = 24, frame = 0;
    float envelope = 1.0f;
    PointArray rest;
    bool playing = false;
    std::map<LayerPointer, Swing> swings;

    void startNewScene() { *this = {}; }
    void takeArchive(const QString &path, int first, int last, const PointArray &startPoints)
    {
        archive = path;
        firstFrame = first;
        lastFrame = last;
        rest = startPoints;
        if (frame < first || frame > last)
            frame = first;
    }

    LayerPointer selected() const
    {
        const auto found = std::find_if(layers.begin(), layers.end(),
                                        [](const auto &layer) { return layer->selected(); });
        return found == layers.end() ? nullptr : *found;
    }
    void select(const LayerPointer &chosen)
    {
        for (const LayerPointer &layer : layers)
            layer->setSelected(layer == chosen);
    }
    void add(LayerKind kind, const PointArray &displayed)
    {
        LayerData data;
        data.setKind(kind);
        data.setName(layerKindName(kind));
        data.setKeys({ { frame / 24.0, 1.0f, true } });
        if (kind == LayerKind::Sculpt || kind == LayerKind::Mush)
            data.setOffsetPoints(kind == LayerKind::Sculpt ? displayed : rest);
        data.setBasePoints(kind == LayerKind::Cloth ? rest : data.offsetPoints());
        layers.push_back(std::make_shared<LayerData>(data));
        select(layers.back());
    }
    void remove(const LayerPointer &layer)
    {
        const auto isOn = [layer](const Edit &edit) { return edit.layer == layer; };
        std::erase_if(done, isOn);
        std::erase_if(undone, isOn);
        std::erase(layers, layer);
        if (!layers.empty())
            select(layers.back());
    }

    void stroke(Edit edit)
    {
        apply(edit, 1.0f);
        undone.clear();
        done.push_back(std::move(edit));
        if (done.size() > 10)
            done.erase(done.begin());
    }
    void undo() { travel(done, undone, -1.0f); }
    void redo() { travel(undone, done, 1.0f); }

    QByteArray bytes() const
    {
        std::vector<const LayerData *> records;
        for (const LayerPointer &layer : layers)
            records.push_back(layer.get());
        return SceneLayout::bytes(archive, records);
    }
    /// What comes back of the scene: a key's time travels through a float.
    File saved() const
    {
        File file { archive, {} };
        for (const LayerPointer &layer : layers) {
            file.layers.push_back(*layer);
            for (LayerKey &key : file.layers.back().keys())
                key.time = double(float(key.time));
        }
        return file;
    }

    static int frameOf(const LayerKey &key) { return int(std::floor(key.time * 24.0 + 0.5)); }
    /// The key on a frame that a person can take hold of: the first or last by time.
    static int keyOn(const std::vector<LayerKey> &keys, int frame, bool last)
    {
        int found = -1;
        for (int i = 0; i < int(keys.size()); ++i)
            if (frameOf(keys[size_t(i)]) == frame && (last || found < 0))
                found = i;
        return found;
    }
    static void sort(std::vector<LayerKey> &keys)
    {
        std::stable_sort(keys.begin(), keys.end(),
                         [](const LayerKey &a, const LayerKey &b) { return a.time < b.time; });
    }

    /// The displayed points. Every point that goes in is moved by up to `nudge`; without one, a
    /// frame of playback moves the jiggle layers on.
    reference::Pose displayed(const Topology &topology, const PointArray &imported, double nudge)
    {
        std::mt19937 random(frame);
        std::uniform_real_distribution<double> some(-nudge, nudge);
        const auto nudged = [&](reference::Pose pose) {
            for (reference::Vec &p : pose)
                p = p + reference::Vec { some(random), some(random), some(random) };
            return pose;
        };
        const size_t count = imported.size();
        reference::Scene s { { topology.rings(), count, topology.triangles() },
                             { topology.constraints(), count } };
        s.position = nudged(reference::toPose(imported));
        for (const LayerPointer &layer : layers) {
            const LayerKind kind = layer->kind();
            const double weight = keyed(*layer) * double(layer->intensity() * envelope);
            if (weight == 0.0 || (kind == LayerKind::Jiggle && !playing))
                continue;
            s.basePoints = nudged(reference::toPose(layer->basePoints()));
            s.offsetPoints = nudged(reference::toPose(layer->offsetPoints()));
            s.rest = nudged(reference::toPose(rest));
            s.mask.assign(count, 0.0);
            if (layer->mask().size() == count)
                s.mask.assign(layer->mask().begin(), layer->mask().end());
            if (kind == LayerKind::Jiggle) {
                const Swing &swing = swings[layer];
                const bool starts = frame == firstFrame || swing.current.size() != count;
                s.basePoints = starts ? s.position : nudged(swing.previous);
                s.deltas = starts ? s.position : nudged(swing.current);
            }
            reference::apply(s, *layer, weight);
            if (kind == LayerKind::Jiggle && nudge == 0.0)
                swings[layer] = { s.basePoints, s.deltas };
        }
        return s.position;
    }

private:
    void travel(std::vector<Edit> &from, std::vector<Edit> &to, float sign)
    {
        if (from.empty())
            return;
        apply(from.back(), sign);
        to.push_back(from.back());
        from.pop_back();
    }
    static void apply(const Edit &edit, float sign)
    {
        if (edit.deltas.empty())
            edit.layer->setMask(sign > 0 ? edit.after : edit.before);
        for (size_t i = 0; i < edit.deltas.size(); ++i)
            edit.layer->editOffsetPoints()[i] += sign * edit.deltas[i];
    }
    /// The envelope at the frame.
    double keyed(const LayerData &layer) const
    {
        std::vector<LayerKey> keys = layer.keys();
        sort(keys);
        const int on = keyOn(keys, frame, false);
        if (keys.empty() || on >= 0)
            return keys.empty() ? 1.0 : double(keys[size_t(on)].value);
        const auto next = std::find_if(
            keys.begin(), keys.end(), [this](const LayerKey &key) { return frameOf(key) > frame; });
        if (next == keys.begin() || next == keys.end())
            return double(next == keys.end() ? keys.back().value : keys.front().value);
        const LayerKey &last = *(next - 1);
        const double share = double(frame - frameOf(last)) / (frameOf(*next) - frameOf(last));
        return double(last.value) + share * double(next->value - last.value);
    }
};
