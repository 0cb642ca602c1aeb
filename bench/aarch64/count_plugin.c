/* A plugin for QEMU's user-mode emulator: prints how many instructions the program executed. The
   count is exact for programs of one thread.

       qemu-aarch64 -plugin count_plugin.so PROGRAM ARGUMENTS... */

#include <inttypes.h>
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

/* The part of the emulator's plugin interface, version 1, that is needed here: distributions ship
   no header for it. */
typedef uint64_t qemu_plugin_id_t;
struct qemu_plugin_tb;
enum qemu_plugin_op { QEMU_PLUGIN_INLINE_ADD_U64 };
void qemu_plugin_register_vcpu_tb_trans_cb(qemu_plugin_id_t id,
                                           void (*callback)(qemu_plugin_id_t,
                                                            struct qemu_plugin_tb *));
void qemu_plugin_register_vcpu_tb_exec_inline(struct qemu_plugin_tb *block, enum qemu_plugin_op op,
                                              void *counter, uint64_t step);
void qemu_plugin_register_atexit_cb(qemu_plugin_id_t id, void (*callback)(qemu_plugin_id_t, void *),
                                    void *data);
size_t qemu_plugin_tb_n_insns(const struct qemu_plugin_tb *block);

#define EXPORTED __attribute__((visibility("default")))
EXPORTED extern int qemu_plugin_version;
EXPORTED int qemu_plugin_install(qemu_plugin_id_t id, const void *info, int argc, char **argv);

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
