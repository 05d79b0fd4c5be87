#include "layers/Log.h"

Q_LOGGING_CATEGORY(lcLayers, "plexmold.layers")
