#include "app/SceneChange.h"

#include "app/Global.h"

#include <exception>

SceneChange::SceneChange(Shows shows)
    : m_shows(shows)
    , m_exceptions(std::uncaught_exceptions())
{
    Global::endInteractions();
}

SceneChange::~SceneChange() noexcept(false)
{
    if (m_shows != Shows::Nothing && std::uncaught_exceptions() == m_exceptions)
        Global::evaluateLayers(m_shows == Shows::Mesh);
}
