/* The public headers compile in plain C; a plug-in in C behind them is the host's tests'. */
#include "aapi/aapi.h"
#include "aapi/wkldfile.h"
