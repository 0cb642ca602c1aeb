/* Marks that lyra-replay sets for the plugin of the emulator (trace_plugin.c). */
#ifndef LYRA_TRACE_H
#define LYRA_TRACE_H

#define TRACE_PRCTL UINT64_C(0x4c595241) /* no option of prctl */
enum trace_action { trace_mark, trace_cache, trace_flush };

#endif
