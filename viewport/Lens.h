#pragma once

struct CameraRecord;

/// A scene camera's vertical angle of view in degrees; 0 without a lens or film.
float verticalFieldOfView(const CameraRecord &camera);
