#include "list/list.h"

#include <utility>

/* Links a new node for data between two neighbours, either of which may be null. */
static GList *link_between(GList *prev, GList *next, gpointer data)
{
    auto *node = new GList{.prev = prev, .next = next, .payload = data};
    if (prev) prev->next = node;
    if (next) next->prev = node;
    return node;
}

GList *g_list_append(GList *list, gpointer data)
{
    if (!list) return link_between(nullptr, nullptr, data);
    GList *last = list;
    while (last->next)
        last = last->next;
    link_between(last, nullptr, data);
    return list;
}

GList *g_list_prepend(GList *list, gpointer data)
{
    return link_between(nullptr, list, data);
}

GList *g_list_insert_before(GList *list, GList *sibling, gpointer data)
{
    if (!list || !sibling) return g_list_append(list, data);
    GList *node = link_between(sibling->prev, sibling, data);
    return node->prev ? list : node;
}

GList *g_list_insert_sorted(GList *list, gpointer data, GCompareFunc func)
{
    GList *at = list;
    while (at && func(at->payload, data) <= 0)
        at = at->next;
    return g_list_insert_before(list, at, data);
}

void g_list_foreach(GList *list, GFunc func, gpointer user_data)
{
    for (; list; list = list->next)
        func(list->payload, user_data);
}

GList *g_list_reverse(GList *list)
{
    GList *head = nullptr;
    while (list) {
        head = list;
        list = list->next;
        std::swap(head->prev, head->next);
    }
    return head;
}

void g_list_free_full(GList *list, GDestroyNotify free_func)
{
    while (list) {
        GList *next = list->next;
        if (list->payload) free_func(list->payload);
        delete list;
        list = next;
    }
}

GList *g_list_find_custom(GList *list, gconstpointer data, GCompareFunc func)
{
    while (list && func(list->payload, data) != 0)
        list = list->next;
    return list;
}

guint g_list_length(const GList *list)
{
    guint n = 0;
    for (; list; list = list->next)
        ++n;
    return n;
}

gpointer g_list_nth_data(const GList *list, guint n)
{
    for (; list && n > 0; --n)
        list = list->next;
    return list ? list->payload : nullptr;
}
