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
    for (GList *l : {head, single})
        g_list_free_full(l, [](gpointer) {});
}

TEST(list, sorting_searching_counting_turning_round_and_releasing)
{
    std::string letters = "bBaAcbC";
    GList *list = nullptr;
    for (char &letter : letters)
        list = g_list_insert_sorted(list, &letter, compare_ignoring_case);
    EXPECT_EQ(text_of(list), "aAbBbcC"); /* equal ones in the order of their insertion */
    EXPECT_EQ(g_list_find_custom(list, "B", compare_ignoring_case), list->next->next); /* the first */
    EXPECT_EQ(g_list_find_custom(list, "d", compare_ignoring_case), nullptr);
    EXPECT_EQ(g_list_length(list), 7U);
    EXPECT_EQ(g_list_nth_data(list, 0), &letters[2]);
    EXPECT_EQ(g_list_nth_data(list, 6), &letters[6]);
    EXPECT_EQ(g_list_nth_data(list, 7), nullptr);
    list = g_list_reverse(list);
    EXPECT_EQ(text_of(list), "CcbBbAa");
    EXPECT_EQ(g_list_reverse(nullptr), nullptr);

    static std::string released;
    released.clear();
    g_list_append(g_list_append(list, nullptr), c);
    g_list_free_full(list, [](gpointer letter) { released += *static_cast<char *>(letter); });
    EXPECT_EQ(released, "CcbBbAac"); /* not called for the empty one */
}
