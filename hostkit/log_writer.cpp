// The process's log writer. It has a file of its own, so that a program with a log of its own takes nothing else along.
#include "host/log.h"

boost::shared_ptr<CLogWriterInterface> g_ptrLogWriter;
