#pragma once

#include <QtGlobal>

#include <initializer_list>
#include <memory>
#include <utility>
#include <vector>

/// Another number at each call, never 0.
quint64 nextArrayRevision();

/// A content that lies elsewhere, on the graphics card, until the host asks for it.
template <class Item> class RemoteArray {
public:
    virtual ~RemoteArray() = default;
    virtual size_t size() const = 0;
    /// The items; empty where they cannot be had.
    virtual std::vector<Item> fetch() const = 0;
};

/// An array that tells its changes. Each gives it a number that no other content of any array
/// bears, so that what was made of a content (bytes, a buffer) can be kept under its number. A copy
/// has the same content and so the same number; 0 is an array that was never set.
template <class Item> class RevisedArray {
public:
    RevisedArray() = default;
    RevisedArray(std::vector<Item> items) { set(std::move(items)); }
    RevisedArray(std::initializer_list<Item> items) { set(items); }
    explicit RevisedArray(std::shared_ptr<const RemoteArray<Item>> remote)
        : m_remote(std::move(remote))
        , m_revision(newRevision())
    {
    }

    /// Of a remote content a first call fetches the items, and needs what that needs.
    const std::vector<Item> &items() const
    {
        if (m_remote) {
            m_items = m_remote->fetch();
            m_remote.reset();
        }
        return m_items;
    }
    size_t size() const { return m_remote ? m_remote->size() : m_items.size(); }
    bool empty() const { return size() == 0; }
    /// Null where the items are here.
    const std::shared_ptr<const RemoteArray<Item>> &remote() const { return m_remote; }
    quint64 revision() const { return m_revision ? *m_revision : 0; }
    /// Expires when the last array of this content is gone or changed.
    std::weak_ptr<const quint64> lifeOfRevision() const { return m_revision; }

    void set(std::vector<Item> items)
    {
        m_items = std::move(items);
        m_remote.reset();
        m_revision = newRevision();
    }
    /// To be changed in place, at once: the number is new when this returns.
    std::vector<Item> &edit()
    {
        items();
        m_revision = newRevision();
        return m_items;
    }

private:
    static std::shared_ptr<const quint64> newRevision()
    {
        return std::make_shared<const quint64>(nextArrayRevision());
    }

    // Where the items lie is no part of the content: fetching them changes nothing.
    mutable std::vector<Item> m_items;
    mutable std::shared_ptr<const RemoteArray<Item>> m_remote;
    std::shared_ptr<const quint64> m_revision;
};
