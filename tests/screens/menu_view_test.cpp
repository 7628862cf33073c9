#include "ui/menu_view.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

/* Where a view ends up: the first node, the item under the highlight, and the row of that. Items are letters,
 * small ones hidden. Of the moves, 'j' and 'k' go down and up; a digit is the screen's height from then on,
 * before that 7, which leaves rows 3 to 5. */
static std::string play(std::string items, const std::string &moves)
{
    GList *list = nullptr;
    for (char &letter : items)
        list = g_list_append(list, &letter);
    const GCompareFunc is_hidden = [](gconstpointer item, gconstpointer) {
        return gint{*static_cast<const char *>(item) >= 'a'};
    };
    menu_view view = open_view(list, is_hidden);
    view.cursor_row = first_item_row; /* as the first draw leaves it */
    int height = 7;
    for (const char move : moves) {
        if (move == 'j') move_down(&view, height);
        if (move == 'k') move_up(&view);
        if (move >= '0' && move <= '9') fit_height(&view, height = move - '0');
    }
    const auto letter = [](const GList *node) { return node ? *static_cast<char *>(node->payload) : '-'; };
    std::string state = {letter(view.first_visible), letter(view.current)};
    state += std::to_string(view.cursor_row);
    EXPECT_EQ(view.list, list);
    for (const char &item : items) { /* the search upwards left the list as it was */
        EXPECT_EQ(letter(list), item);
        list = list->next;
    }
    g_list_free_full(view.list, [](gpointer) {});
    return state;
}

TEST(menu_view, moves_over_shown_items_and_scrolls_at_the_edges)
{
    std::istringstream cases(
        "ABCDEF - AA3  ABCDEF k AA3  ABCDEF jj AC5  ABCDEF jjj BD5  ABCDEF jjjjj DF5  ABCDEF jjjjjjj DF5 "
        "ABCDEF jjjjjkk DD3  ABCDEF jjjjjkkk CC3  ABCDEF jjjjjkkkkkk AA3  A jk AA3 "
        "AxBxxCD jj AC5  AxBxxCD jjj BD5  AxBxxCD jjjkkk AA3  AxxB jj AB4  xyz jk4 x-3 " /* hidden ones */
        "xABCDE - xA3  xABCDE jjj AD5  xABCDE jjjj BE5  xABCDE jjjjkkk BB3 " /* a hidden head scrolls late */
        "ABCDEF jj6 BC4  ABCDEF jj5 CC3  ABCDEF jj1 CC3  ABCDEF jj59j CD4  ABCDEF jj7 AC5 " /* other heights
                                                                                             */
        "xABCD jj6 BC4  xABCD jj5 CC3  xABCD jj9 xC5");
    for (std::string items, moves, state; cases >> items >> moves >> state;)
        EXPECT_EQ(play(items, moves), state) << items << " " << moves;
}
