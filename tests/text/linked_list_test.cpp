#include <gtest/gtest.h>
#include <ktcommon.h>

#include <algorithm>
#include <thread>
#include <vector>

#include "support/heap_requests.h"
#include "support/random_text.h"
#include "support/stdout_capture.h"

namespace {

using Data = void*;
using kt::test::printedBy;

int valueOf(const void* data) {
    return data == nullptr ? 0 : *static_cast<const int*>(data);
}

// The nodes' data, after a look at everything that holds at all times.
std::vector<Data> contentsOf(const LLNode& list) {
    std::vector<Data> all;
    for (const LLNode* node = list.head; node != nullptr; node = node->next) {
        all.push_back(node->data);
        EXPECT_EQ(node->size, list.size);
        EXPECT_EQ(reinterpret_cast<uintptr_t>(node->data) % alignof(std::max_align_t), 0);
        EXPECT_TRUE(node->head == nullptr && node->current == nullptr && node->second == nullptr);
    }
    EXPECT_EQ(list.second, list.head == nullptr ? nullptr : list.head->next);
    return all;
}

void clear(LLNode& list) {
    while (list.head != nullptr) {
        llDelete(&list, list.head->data);
    }
}

TEST(LinkedList, FollowsAModel) {
    LLNode list = {};
    ASSERT_EQ(llInit(&list, sizeof(int)), &list);
    std::vector<Data> model;
    Data next = nullptr;
    const auto behind = [&](Data data) -> Data {
        const auto at = std::find(model.begin(), model.end(), data);
        return at == model.end() || at + 1 == model.end() ? nullptr : at[1];
    };
    for (int step = 1; step <= 10000; ++step) {
        const size_t action = randomUpTo(9);
        if (action <= 3) {
            int record = step;
            Data added = llAdd(&list, &record)->data;
            record = 0;
            EXPECT_EQ(valueOf(added), step);
            next = !model.empty() && next == nullptr ? added : next;
            model.push_back(added);
        } else if (action <= 6 && !model.empty()) {
            const size_t place = action == 4 ? 0 : randomUpTo(model.size() - 1);
            Data deleted = model[place];
            next = deleted == next ? behind(next) : next;
            model.erase(model.begin() + static_cast<std::ptrdiff_t>(place));
            next = place == 0 ? (model.size() > 1 ? model[1] : nullptr) : next;
            EXPECT_EQ(llDelete(&list, deleted), &list);
        } else if (action == 7) {
            EXPECT_EQ(llFirst(&list), model.empty() ? nullptr : model[0]);
            next = model.size() > 1 ? model[1] : nullptr;
        } else {
            EXPECT_EQ(llNext(&list), next);
            next = next == nullptr ? nullptr : behind(next);
        }
        ASSERT_EQ(contentsOf(list), model) << step;
        ASSERT_EQ(list.next == nullptr ? nullptr : list.next->data, next) << step;
        ASSERT_TRUE(list.current == nullptr ||
                    std::count(model.begin(), model.end(), list.current->data) == 1);
    }
    clear(list);
    EXPECT_EQ(llFirst(&list), nullptr);
}

TEST(LinkedList, RefusesWhatItCannotDo) {
    LLNode list = {};
    llInit(&list, 0);
    int record = 1;
    EXPECT_EQ(llAdd(&list, nullptr), nullptr);
    llAdd(&list, &record);
    llAdd(&list, &record);
    const std::vector<Data> two = contentsOf(list);
    EXPECT_NE(two[0], two[1]);
    if (kHeapRefuses) {
        EXPECT_EQ(withHeapGrants(0, [&] { return llAdd(&list, &record); }), nullptr);
    }
    llDelete(&list, &record);
    llDelete(&list, nullptr);
    EXPECT_EQ(contentsOf(list), two);
    clear(list);
    EXPECT_TRUE(llInit(nullptr, 1) == nullptr && llAdd(nullptr, &record) == nullptr &&
                llFirst(nullptr) == nullptr && llNext(nullptr) == nullptr &&
                llDelete(nullptr, &record) == nullptr);
}

TEST(LinkedList, ThreadsAddAndDelete) {
    LLNode list = {};
    llInit(&list, sizeof(int));
    const auto work = [&list](int first) {
        for (int i = 0; i < 2000; ++i) {
            const int record = first + i;
            LLNode* node = llAdd(&list, &record);
            if (i % 2 == 0) {
                llDelete(&list, node->data);
            }
        }
    };
    std::thread other(work, 10000);
    work(0);
    other.join();
    const std::vector<Data> all = contentsOf(list);
    EXPECT_EQ(all.size(), 2000);
    clear(list);
}

TEST(LinkedList, Shows) {
    LLNode list = {};
    llInit(&list, sizeof(int));
    const int record = 7;
    const LLNode* first = llAdd(&list, &record);
    llAdd(&list, &record);
    const auto shown = [](const void* node, int size, const void* data, const void* next) {
        char line[120];
        snprintf(line, sizeof line, "  node: %p - size: %d, data: %p, next: %p\n", node, size, data, next);
        return std::string(line);
    };
    const std::string nodes =
        shown(first, 4, first->data, first->next) + shown(first->next, 4, first->next->data, nullptr);
    EXPECT_EQ(printedBy([&] { llShowAll(&list, "%d\n", 2); }), "2\n" + nodes);
    EXPECT_EQ(printedBy([&] { llShowAll(&list, nullptr); }), nodes);
    LLNode own = list;
    own.head = own.current = &own;
    char info[80];
    snprintf(info, sizeof info, "x  llInfo: head: %p, curr: %p\n", static_cast<void*>(&own),
             static_cast<void*>(&own));
    EXPECT_EQ(printedBy([&] { llShow(&own, "%s", "x"); }), info + shown(&own, 4, nullptr, own.next));
    EXPECT_EQ(printedBy([&] { llShow(nullptr, "%s", "x"); }), "x");
    clear(list);
}

}  // namespace
