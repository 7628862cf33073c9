#include "list/list.h"

#include "helpers.h"

#include <cctype>

static gint compare_ignoring_case(gconstpointer a, gconstpointer b)
{
    return tolower(*static_cast<const char *>(a)) - tolower(*static_cast<const char *>(b));
}

/* The payloads from head to tail, once the links back have been found to agree with those forth. */
static std::string text_of(GList *list)
{
    EXPECT_TRUE(!list || !list->prev);
    for (const GList *node = list; node && node->next; node = node->next)
        EXPECT_EQ(node->next->prev, node);
    std::string s;
    g_list_foreach(
        list, [](gpointer c, gpointer to) { *static_cast<std::string *>(to) += *static_cast<char *>(c); },
        &s);
    return s;
}

static char a[] = "a", b[] = "b", c[] = "c";

TEST(list, insertion_returns_the_head)
{
    GList *list = g_list_append(nullptr, b);
    EXPECT_EQ(g_list_append(list, c), list);
    GList *head = g_list_prepend(list, a);
    EXPECT_EQ(g_list_insert_before(head, list, c), head);
    head = g_list_insert_before(head, head, b);
    EXPECT_EQ(g_list_insert_before(head, nullptr, a), head);
    EXPECT_EQ(text_of(head), "bacbca");
    GList *single = g_list_insert_before(nullptr, head, c); /* a sibling of no list is ignored */
    EXPECT_EQ(text_of(single), "c");

    std::string letters = "bBaAcbC";
    GList *sorted = nullptr;
    for (char &letter : letters)
        sorted = g_list_insert_sorted(sorted, &letter, compare_ignoring_case);
    EXPECT_EQ(text_of(sorted), "aAbBbcC"); /* equal ones in the order of their insertion */
    for (GList *l : {head, single, sorted})
        g_list_free_full(l, [](gpointer) {});
}

TEST(list, searching_counting_turning_round_and_releasing)
{
    GList *list = g_list_append(g_list_append(g_list_append(nullptr, a), b), b);
    EXPECT_EQ(g_list_find_custom(list, "B", compare_ignoring_case), list->next); /* the first of two */
    EXPECT_EQ(g_list_find_custom(list, "d", compare_ignoring_case), nullptr);
    EXPECT_EQ(g_list_length(list), 3U);
    EXPECT_EQ(g_list_nth_data(list, 0), a);
    EXPECT_EQ(g_list_nth_data(list, 2), b);
    EXPECT_EQ(g_list_nth_data(list, 3), nullptr);

    EXPECT_EQ(g_list_reverse(nullptr), nullptr);
    GList *reversed = g_list_reverse(list);
    EXPECT_EQ(text_of(reversed), "bba");
    EXPECT_EQ(g_list_reverse(reversed), list);
    EXPECT_EQ(text_of(list), "abb");

    static std::string released;
    released.clear();
    g_list_append(g_list_append(list, nullptr), c);
    g_list_free_full(list, [](gpointer letter) { released += *static_cast<char *>(letter); });
    EXPECT_EQ(released, "abbc"); /* not called for the empty one */
}
