#include "alembic/Log.h"

Q_LOGGING_CATEGORY(lcImport, "plexmold.import")
