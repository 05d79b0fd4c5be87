#include "layers/CommandStack.h"

#include "layers/Log.h"

Command::~Command() = default;

void CommandStack::push(std::unique_ptr<Command> command)
{
    m_redoList.clear();
    m_undoList.push_back(std::move(command));
    if (undoCount() > m_maxDepth)
        m_undoList.erase(m_undoList.begin());
}

void CommandStack::undo()
{
    if (m_undoList.empty())
        return;
    qCDebug(lcLayers).noquote() << "undo cmd";
    m_undoList.back()->undo();
    m_redoList.push_back(std::move(m_undoList.back()));
    m_undoList.pop_back();
}

void CommandStack::redo()
{
    if (m_redoList.empty())
        return;
    m_redoList.back()->redo();
    m_undoList.push_back(std::move(m_redoList.back()));
    m_redoList.pop_back();
}

void CommandStack::clear()
{
    m_undoList.clear();
    m_redoList.clear();
}

void CommandStack::dropCommandsOn(const void *target)
{
    const auto names = [target](const auto &command) { return command->actsOn(target); };
    std::erase_if(m_undoList, names);
    std::erase_if(m_redoList, names);
}
