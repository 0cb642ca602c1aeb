/* A plugin for QEMU's user-mode emulator: prints how many instructions the program executed. The
   count is exact for programs of one thread.

       qemu-aarch64 -plugin count_plugin.so PROGRAM ARGUMENTS... */

#include <inttypes.h>
#include <stdio.h>

#include "qemu_plugin.h"

int qemu_plugin_version = 1;

static uint64_t executed;

static void block_translated(qemu_plugin_id_t id, struct qemu_plugin_tb *block) {
    (void)id;
    qemu_plugin_register_vcpu_tb_exec_inline(block, QEMU_PLUGIN_INLINE_ADD_U64, &executed,
                                             qemu_plugin_tb_n_insns(block));
}

static void program_ended(qemu_plugin_id_t id, void *data) {
    (void)id;
    (void)data;
    fprintf(stderr, "instructions %" PRIu64 "\n", executed);
}

int qemu_plugin_install(qemu_plugin_id_t id, const void *info, int argc, char **argv) {
    (void)info;
    (void)argc;
    (void)argv;
    qemu_plugin_register_vcpu_tb_trans_cb(id, block_translated);
    qemu_plugin_register_atexit_cb(id, program_ended, NULL);
    return 0;
}
