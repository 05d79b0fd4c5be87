#pragma once

#include <memory>
#include <vector>

/// One undoable edit. It keeps its target and its values; it is applied by its own redo(), so the
/// first run and the tenth are the same code.
class Command {
public:
    virtual ~Command();
    virtual void execute() = 0;
    virtual void undo() = 0;
    virtual void redo() = 0;
    /// Whether the edit acts on this object; such commands go when the object is deleted.
    virtual bool actsOn(const void *target) const = 0;
};

/// The history: at most ten undo steps after a push. Owns its commands; knows nothing of layers.
class CommandStack {
public:
    /// Discards the redo list, appends, drops the oldest command beyond the depth limit. Does not
    /// execute the command.
    void push(std::unique_ptr<Command> command);
    void undo();
    /// Deliberately without the depth limit: after redoing, the undo list may hold more than the
    /// limit until the next push trims it by one.
    void redo();
    void clear();
    /// Drops every command of both lists that acts on `target`.
    void dropCommandsOn(const void *target);

    int undoCount() const { return int(m_undoList.size()); }
    int redoCount() const { return int(m_redoList.size()); }

private:
    std::vector<std::unique_ptr<Command>> m_undoList; ///< oldest first
    std::vector<std::unique_ptr<Command>> m_redoList; ///< most recently undone last
    int m_maxDepth = 10;
};
