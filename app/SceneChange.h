#pragma once

/// Every change of the scene (a layer's data, the stack, the selection, the frame, the archive) is
/// made while one of these lives. It first ends a stroke or wipe in flight in either view, as its
/// release would: both keep their state in buffers and layers that the change writes over. At its
/// end the change shows.
class SceneChange {
public:
    enum class Shows {
        Nothing, ///< yet: what comes next does
        Picture, ///< repaints
        Mesh ///< evaluates the stack
    };

    explicit SceneChange(Shows shows = Shows::Mesh);
    /// Passes on what an evaluation without memory throws, unless a change that failed is on its
    /// way out already: then nothing shows.
    ~SceneChange() noexcept(false);
    SceneChange(const SceneChange &) = delete;
    SceneChange &operator=(const SceneChange &) = delete;

private:
    const Shows m_shows;
    const int m_exceptions;
};
