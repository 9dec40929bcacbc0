// The launcher's command line options, registered before main in this order.
#pragma once

#include "ka/cmd_line.h"

extern ka::CmdLineArgument cmdline_gameDir;
extern ka::CmdLineArgument cmdline_updateCheckUrl;
extern ka::CmdLineArgument cmdline_serviceUrl;
extern ka::CmdLineArgument cmdline_downloadUrl;
extern ka::CmdLineArgument cmdline_tmp;
extern ka::CmdLineArgument cmdline_uiurl;
extern ka::CmdLineArgument cmdline_skipversioncheck;
extern ka::CmdLineArgument cmdline_beta;
extern ka::CmdLineArgument cmdline_devmode;
extern ka::CmdLineArgument cmdline_softwareui;
extern ka::CmdLineArgument cmdline_disableuibootcache;
extern ka::CmdLineArgument cmdline_coherentloglevel;
extern ka::CmdLineArgument cmdline_coherentallowminidumps;
extern ka::CmdLineArgument cmdline_maxDownloadRate;
extern ka::CmdLineArgument cmdline_help;
