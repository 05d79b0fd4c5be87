#pragma once

#include <QString>

/// Where a scene's cache lies now. The path that the scene stores, where there is such a file; for
/// a scene that moved together with its cache the file of that name beside the scene; else the
/// longest tail of the stored path that exists under the scene's folder, as caches/v2/arm.abc of
/// /old/show/caches/v2/arm.abc. A debug line tells of a path that was not the stored one. Without
/// any the stored path.
QString findArchive(const QString &storedPath, const QString &scenePath);
