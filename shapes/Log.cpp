#include "shapes/Log.h"

Q_LOGGING_CATEGORY(lcShapes, "plexmold.shapes")
