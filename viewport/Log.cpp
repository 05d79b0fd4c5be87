#include "viewport/Log.h"

Q_LOGGING_CATEGORY(lcViewport, "plexmold.viewport")
