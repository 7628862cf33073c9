#include "ui/menu.h"

short col_no;
short col_yes;

void menu(const char *, GList *, line_formatter, GCompareFunc, const action *, const char *) {}
