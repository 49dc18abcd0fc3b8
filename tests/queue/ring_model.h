// A model of the ring's two ends in which every step on a shared word is a step of a schedule, and
// an explorer that tries all schedules.
//
// A thread is a function that makes its steps through `ModelMemory`. To learn its next step it is
// run from the start with the results of the steps that it has made; where these end, it is left by
// an exception that names the step. So one thread of the system plays both, and a schedule can be
// continued from any point. Two schedules that lead to the same words and the same results for each
// thread have the same future: it is explored once.
#ifndef OWNERLINK_TESTS_QUEUE_RING_MODEL_H
#define OWNERLINK_TESTS_QUEUE_RING_MODEL_H

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <utility>
#include <vector>

#include "platform/hosted/queue_ring.h"

enum class Word { kTail, kHead, kFlag, kStop, kSlot0, kSlot1, kSlot0Size, kSlot1Size, kCount };

struct Step {
    enum class Kind { kLoad, kStore, kExchange, kSleep, kWake };
    Kind kind;
    Word word;
    uint64_t value;
};

// What a thread has got from its steps so far.
using History = std::vector<uint64_t>;

// How far a thread has come on its way through its history.
struct Course {
    explicit Course(const History& made) : history(made) {}

    const History& history;
    size_t position = 0;
};

// A thread's view of the words; copies go on together.
class ModelMemory {
public:
    explicit ModelMemory(Course& course) : course_(&course) {}

    uint64_t LoadTail() { return Load(Word::kTail); }
    void StoreTail(uint64_t tail) { Store(Word::kTail, tail); }
    uint64_t LoadHead() { return Load(Word::kHead); }
    void StoreHead(uint64_t head) { Store(Word::kHead, head); }
    uint32_t LoadFlag() { return static_cast<uint32_t>(Load(Word::kFlag)); }
    void StoreFlag(uint32_t flag) { Store(Word::kFlag, flag); }
    uint32_t ExchangeFlag(uint32_t flag)
    {
        return static_cast<uint32_t>(Make({Step::Kind::kExchange, Word::kFlag, flag}));
    }
    void Sleep() { Make({Step::Kind::kSleep, Word::kFlag, hosted::kAsleep}); }
    void Wake() { Make({Step::Kind::kWake, Word::kFlag, 0}); }

    // In two steps each: an entry that is read while it is written would show.
    void StoreEntry(uint32_t slot, const hosted::RingEntry& entry)
    {
        Store(slot == 0 ? Word::kSlot0 : Word::kSlot1, entry.block);
        Store(slot == 0 ? Word::kSlot0Size : Word::kSlot1Size, entry.size);
    }
    hosted::RingEntry LoadEntry(uint32_t slot)
    {
        const uint64_t block = Load(slot == 0 ? Word::kSlot0 : Word::kSlot1);
        const uint64_t size = Load(slot == 0 ? Word::kSlot0Size : Word::kSlot1Size);
        return {0, static_cast<uint32_t>(block), static_cast<uint32_t>(size)};
    }

    // Outside the ring: what the reader looks at before it sleeps.
    bool LoadStop() { return Load(Word::kStop) != 0; }
    void StoreStop() { Store(Word::kStop, 1); }

private:
    uint64_t Load(Word word) { return Make({Step::Kind::kLoad, word, 0}); }
    void Store(Word word, uint64_t value) { Make({Step::Kind::kStore, word, value}); }
    uint64_t Make(const Step& step)
    {
        if (course_->position == course_->history.size()) {
            throw step;
        }
        return course_->history[course_->position++];
    }

    Course* course_;
};

// Runs a thread as far as `history` goes; what it did beyond the shared words stands in its
// captures.
using ModelThread = std::function<void(const History& history)>;

class Explorer {
public:
    // `atEnd` sees each state in which no thread can go on: whether each has ended, or sleeps.
    using AtEnd = std::function<void(const std::array<History, 2>&, const std::array<bool, 2>&)>;

    Explorer(ModelThread first, ModelThread second, AtEnd atEnd)
        : threads_{std::move(first), std::move(second)}, atEnd_(std::move(atEnd))
    {
    }

    // The number of distinct states. `atEnd` is called in at least one.
    size_t Explore()
    {
        std::vector<State> open = {State{}};
        known_.insert(open.back());
        while (!open.empty()) {
            const State state = open.back();
            open.pop_back();
            Expand(state, open);
        }
        return known_.size();
    }

private:
    struct State {
        std::array<uint64_t, static_cast<size_t>(Word::kCount)> words = {};
        std::array<History, 2> histories;
        std::array<bool, 2> sleeps = {};

        auto operator<=>(const State&) const = default;
    };

    void Expand(const State& state, std::vector<State>& open)
    {
        std::array<bool, 2> ended = {};
        bool isStuck = true;
        for (size_t i = 0; i < 2; ++i) {
            if (state.sleeps[i]) {
                continue;
            }
            try {
                threads_[i](state.histories[i]);
                ended[i] = true;
            } catch (const Step& step) {
                isStuck = false;
                State next = Apply(state, i, step);
                if (known_.insert(next).second) {
                    open.push_back(std::move(next));
                }
            }
        }
        if (isStuck) {
            atEnd_(state.histories, ended);
        }
    }

    static State Apply(State state, size_t thread, const Step& step)
    {
        uint64_t& word = state.words[static_cast<size_t>(step.word)];
        uint64_t result = 0;
        switch (step.kind) {
            case Step::Kind::kLoad:
                result = word;
                break;
            case Step::Kind::kStore:
                word = step.value;
                break;
            case Step::Kind::kExchange:
                result = std::exchange(word, step.value);
                break;
            case Step::Kind::kSleep:
                state.sleeps[thread] = word == step.value;
                break;
            case Step::Kind::kWake:
                state.sleeps[1 - thread] = false;
                break;
        }
        state.histories[thread].push_back(result);
        return state;
    }

    std::array<ModelThread, 2> threads_;
    AtEnd atEnd_;
    std::set<State> known_;
};

#endif
