# Alembic with the bounds of alembic/bounded-reads.patch: a library of the system's that has them, or
# the build that script/build-alembic keeps in the per-user cache.
execute_process(
    COMMAND ${CMAKE_COMMAND} -E env CXX=${CMAKE_CXX_COMPILER}
            ${CMAKE_CURRENT_SOURCE_DIR}/script/build-alembic --prefix
    OUTPUT_VARIABLE ALEMBIC_CACHED_PREFIX OUTPUT_STRIP_TRAILING_WHITESPACE)
if(ALEMBIC_CACHED_PREFIX)
    list(APPEND CMAKE_PREFIX_PATH ${ALEMBIC_CACHED_PREFIX})
    # A build folder remembers the build of the cache that it was configured with.
    if(Alembic_DIR MATCHES "/plexmold/alembic-")
        unset(Alembic_DIR CACHE)
    endif()
endif()
# Debian's Imath lists a Python library that only another package ships, and says so at length.
set(CMAKE_MESSAGE_LOG_LEVEL WARNING)
find_package(Imath REQUIRED)
find_package(Alembic CONFIG)
unset(CMAKE_MESSAGE_LOG_LEVEL)

set(ALEMBIC_BOUNDS "")
if(Alembic_FOUND)
    get_target_property(ALEMBIC_INCLUDE Alembic::Alembic INTERFACE_INCLUDE_DIRECTORIES)
    find_file(ALEMBIC_CONFIG_HEADER Alembic/Util/Config.h PATHS ${ALEMBIC_INCLUDE}
        NO_DEFAULT_PATH NO_CACHE)
    if(ALEMBIC_CONFIG_HEADER)
        file(STRINGS ${ALEMBIC_CONFIG_HEADER} ALEMBIC_BOUNDS REGEX ALEMBIC_HAS_BOUNDED_READS)
    endif()
endif()
if(NOT ALEMBIC_BOUNDS)
    message(FATAL_ERROR "No Alembic library here has the bounds of alembic/bounded-reads.patch "
        "(${Alembic_DIR}). CXX=${CMAKE_CXX_COMPILER} script/build-alembic builds one.")
endif()
