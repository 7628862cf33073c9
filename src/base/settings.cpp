#include "base/settings.h"

int verbose;
int keep_script;
int force_FW_update;
int show_all;

std::string version;
std::string Log_path;
std::string FW_help_path;
std::string SMART187_help_path;
