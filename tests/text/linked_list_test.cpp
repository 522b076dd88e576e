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
using namespace kt::test;

struct List : LLNode {
    explicit List(unsigned elemSize) : LLNode() { llInit(this, elemSize); }
    ~List() {
        while (head != nullptr) { llDelete(this, head->data); }
    }
};

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

TEST(LinkedList, FollowsAModel) {
    List list(sizeof(int));
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
            EXPECT_EQ(*static_cast<int*>(added), step);
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
}

TEST(LinkedList, RefusesWhatItCannotDo) {
    List list(0);
    const int record = 1;
    EXPECT_EQ(llAdd(&list, nullptr), nullptr);
    llAdd(&list, &record);
    llAdd(&list, &record);
    const std::vector<Data> two = contentsOf(list);
    EXPECT_NE(two[0], two[1]);
    if (kHeapRefuses) {
        EXPECT_EQ(withHeapGrants(0, [&] { return llAdd(&list, &record); }), nullptr);
    }
    EXPECT_TRUE(llDelete(&list, &list) == &list && llDelete(&list, nullptr) == &list &&
                contentsOf(list) == two);
    EXPECT_TRUE(llInit(nullptr, 1) == nullptr && llAdd(nullptr, &record) == nullptr &&
                llFirst(nullptr) == nullptr && llNext(nullptr) == nullptr &&
                llDelete(nullptr, two[0]) == nullptr);
}

TEST(LinkedList, ThreadsAddAndDelete) {
    List list(sizeof(int));
    const auto work = [&list] {
        for (int i = 0; i < 2000; ++i) {
            const LLNode* node = llAdd(&list, &i);
            llDelete(&list, i % 2 == 0 ? node->data : nullptr);
        }
    };
    std::thread other(work);
    work();
    other.join();
    EXPECT_EQ(contentsOf(list).size(), 2000);
}

TEST(LinkedList, Shows) {
    List list(4);
    const LLNode* first = llAdd(&list, "one");
    const LLNode* second = llAdd(&list, "two");
    const auto shown = [](const LLNode* node) {
        return allPrintedBy([data = node->data, next = Data(node->next), node] {
            printf("  node: %p - size: 4, data: %p, next: %p\n", Data(node), data, next);
        });
    };
    EXPECT_EQ(printedBy([&] { llShowAll(&list, "%d\n", 2); }), "2\n" + shown(first) + shown(second));
    EXPECT_EQ(printedBy([] { llShowAll(nullptr, nullptr), llShow(nullptr, "x"); }), "x");
    LLNode own = *first;
    own.head = own.current = &own;
    std::ostringstream info;
    info << "x  llInfo: head: " << &own << ", curr: " << &own << "\n";
    EXPECT_EQ(printedBy([&] { llShow(&own, "%s", "x"); }), info.str() + shown(&own));
}

}  // namespace
