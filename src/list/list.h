/* list.h - a doubly linked list of untyped payloads, the program's one container for records of any kind.
 * A list is named by its first node; the empty list is null. Nodes belong to the list, payloads never do: the
 * list touches them through the caller's callbacks only. */
#pragma once

#include <memory>

using gpointer = void *;
using gconstpointer = const void *;
using gint = int;
using guint = unsigned int;

struct GList {
    GList *prev;
    GList *next;
    gpointer payload;
};

using GFunc = void (*)(gpointer payload, gpointer user_data);
using GCompareFunc = gint (*)(gconstpointer a, gconstpointer b);
using GDestroyNotify = void (*)(gpointer payload);

/* Adds data at the end. Returns the list, or the new node when it was empty. */
GList *g_list_append(GList *list, gpointer data);

/* Adds data before `list`, which must be a head (or null). Returns the new node. */
GList *g_list_prepend(GList *list, gpointer data);

/* Adds data in front of sibling and returns the head. Without a list or a sibling: g_list_append. */
GList *g_list_insert_before(GList *list, GList *sibling, gpointer data);

/* Adds data before the first node for which func(payload, data) > 0, or at the end; so equal elements stay in
 * the order of their insertion. Returns the head. */
GList *g_list_insert_sorted(GList *list, gpointer data, GCompareFunc func);

/* Calls func(payload, user_data) from head to tail. func must not unlink its own node. */
void g_list_foreach(GList *list, GFunc func, gpointer user_data);

/* Turns the list round in place. Returns the former last node. */
GList *g_list_reverse(GList *list);

/* Releases every node, after free_func for each payload that is not null. */
void g_list_free_full(GList *list, GDestroyNotify free_func);

/* Owns a list whose payloads free_payload releases: a list_ptr<free_one_map> holds a GList of Map. */
template <GDestroyNotify free_payload>
struct free_list {
    void operator()(GList *list) const { g_list_free_full(list, free_payload); }
};
template <GDestroyNotify free_payload>
using list_ptr = std::unique_ptr<GList, free_list<free_payload>>;

/* The first node for which func(payload, data) is 0, or null. */
GList *g_list_find_custom(GList *list, gconstpointer data, GCompareFunc func);

/* Number of nodes. */
guint g_list_length(const GList *list);

/* Payload of the node n steps after `list` (0: that node), or null when the list ends first. */
gpointer g_list_nth_data(const GList *list, guint n);
