#include "layers/CommandStack.h"

#include <QtTest>

namespace {

/// Adds its number to what it acts on, and tells when it is destroyed.
class AddCommand : public Command {
public:
    AddCommand(std::vector<int> &target, int number, int &alive)
        : m_target(target)
        , m_number(number)
        , m_alive(alive)
    {
        ++m_alive;
    }
    ~AddCommand() override { --m_alive; }
    void execute() override { redo(); }
    void undo() override
    {
        QCOMPARE(m_target.back(), m_number); // always the latest first
        m_target.pop_back();
    }
    void redo() override { m_target.push_back(m_number); }
    bool actsOn(const void *target) const override { return target == &m_target; }

private:
    std::vector<int> &m_target;
    int m_number;
    int &m_alive;
};

} // namespace

class CommandStackTest : public QObject {
    Q_OBJECT

private:
    std::vector<int> m_strokes;
    int m_alive = 0;
    std::unique_ptr<CommandStack> m_stack;

    void stroke(std::vector<int> &target, int number)
    {
        auto command = std::make_unique<AddCommand>(target, number, m_alive);
        command->execute();
        m_stack->push(std::move(command));
    }
    void undo(int times)
    {
        for (int i = 0; i < times; ++i)
            m_stack->undo();
    }

private slots:
    void init()
    {
        m_stack = std::make_unique<CommandStack>();
        m_strokes.clear();
        QCOMPARE(m_alive, 0); // the stack before this one left nothing
    }

    void elevenStrokesKeepTen()
    {
        for (int i = 0; i < 11; ++i)
            stroke(m_strokes, i);
        QCOMPARE(m_alive, 10);
        for (int i = 0; i < 10; ++i)
            QTest::ignoreMessage(QtDebugMsg, "undo cmd");
        undo(11);
        QCOMPARE(m_strokes, std::vector<int> { 0 });
        for (int i = 0; i < 3; ++i)
            m_stack->redo();
        QCOMPARE(m_strokes, (std::vector<int> { 0, 1, 2, 3 }));
        stroke(m_strokes, 20); // and what was undone is gone
        QCOMPARE(m_alive, 4);
        m_stack->redo();
        QCOMPARE(m_strokes, (std::vector<int> { 0, 1, 2, 3, 20 }));
        undo(1);
        m_stack->clear();
        QCOMPARE(m_alive, 0);
        m_stack->undo();
        m_stack->redo();
        QCOMPARE(m_strokes.size(), size_t(4));
    }

    void dropsTheCommandsOfOneTarget()
    {
        std::vector<int> other;
        for (int i = 0; i < 4; ++i) {
            stroke(m_strokes, i);
            stroke(other, i);
        }
        undo(3);
        m_stack->dropCommandsOn(&other);
        QCOMPARE(m_stack->undoCount(), 3);
        QCOMPARE(m_stack->redoCount(), 1);
        QCOMPARE(m_alive, 4);
        m_stack->redo();
        QCOMPARE(m_strokes, (std::vector<int> { 0, 1, 2, 3 }));
        QCOMPARE(other, (std::vector<int> { 0, 1 }));
    }
};

QTEST_APPLESS_MAIN(CommandStackTest)
#include "CommandStackTest.moc"
