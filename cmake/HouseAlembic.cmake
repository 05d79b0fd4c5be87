# Alembic: the system's own, or the build that script/build-alembic keeps in the per-user cache.
execute_process(COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/script/build-alembic --prefix
    OUTPUT_VARIABLE ALEMBIC_CACHED_PREFIX OUTPUT_STRIP_TRAILING_WHITESPACE)
if(ALEMBIC_CACHED_PREFIX)
    list(APPEND CMAKE_PREFIX_PATH ${ALEMBIC_CACHED_PREFIX})
endif()
# Debian's Imath lists a Python library that only another package ships, and says so at length.
set(CMAKE_MESSAGE_LOG_LEVEL WARNING)
find_package(Imath REQUIRED)
find_package(Alembic CONFIG REQUIRED)
unset(CMAKE_MESSAGE_LOG_LEVEL)
