#include "gpu/Log.h"

Q_LOGGING_CATEGORY(lcGpu, "plexmold.gpu")
