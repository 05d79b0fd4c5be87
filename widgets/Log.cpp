#include "widgets/Log.h"

Q_LOGGING_CATEGORY(lcWidgets, "plexmold.widgets")
