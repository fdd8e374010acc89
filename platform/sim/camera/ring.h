/** A queue that keeps its memory: it allocates only when it grows beyond its largest size so far.
 */
#pragma once

#include <cstddef>
#include <utility>
#include <vector>

namespace sim
{

template <class Item> class Ring
{
public:
    explicit Ring(std::size_t room) : items_(room) {}

    bool Empty() const { return count_ == 0; }
    std::size_t Size() const { return count_; }
    Item& Front() { return items_[first_]; }
    void Push(Item item)
    {
        if (count_ == items_.size()) {
            Grow();
        }
        items_[(first_ + count_) % items_.size()] = std::move(item);
        ++count_;
    }
    Item Pop()
    {
        Item item = std::move(items_[first_]);
        first_ = (first_ + 1) % items_.size();
        --count_;
        return item;
    }
    void Clear() { count_ = 0; }

private:
    void Grow()
    {
        std::vector<Item> larger(2 * items_.size() + 1);
        for (std::size_t i = 0; i < count_; ++i) {
            larger[i] = std::move(items_[(first_ + i) % items_.size()]);
        }
        items_ = std::move(larger);
        first_ = 0;
    }
    std::vector<Item> items_;
    std::size_t first_ = 0;
    std::size_t count_ = 0;
};

} // namespace sim
