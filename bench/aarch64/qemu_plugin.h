/* The part of the interface of QEMU's plugins, version 1, that is needed here: distributions ship
   no header for it. */
#ifndef LYRA_QEMU_PLUGIN_H
#define LYRA_QEMU_PLUGIN_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

typedef uint64_t qemu_plugin_id_t;
typedef uint32_t qemu_plugin_meminfo_t;
struct qemu_plugin_tb;
struct qemu_plugin_insn;
enum qemu_plugin_op { QEMU_PLUGIN_INLINE_ADD_U64 };
enum qemu_plugin_cb_flags { QEMU_PLUGIN_CB_NO_REGS };
enum qemu_plugin_mem_rw { QEMU_PLUGIN_MEM_RW = 3 };

void qemu_plugin_register_vcpu_tb_trans_cb(qemu_plugin_id_t id,
                                           void (*callback)(qemu_plugin_id_t,
                                                            struct qemu_plugin_tb *));
void qemu_plugin_register_vcpu_tb_exec_inline(struct qemu_plugin_tb *block, enum qemu_plugin_op op,
                                              void *counter, uint64_t step);
void qemu_plugin_register_vcpu_tb_exec_cb(struct qemu_plugin_tb *block,
                                          void (*callback)(unsigned int cpu, void *data),
                                          enum qemu_plugin_cb_flags flags, void *data);
void qemu_plugin_register_vcpu_mem_cb(struct qemu_plugin_insn *instruction,
                                      void (*callback)(unsigned int cpu, qemu_plugin_meminfo_t info,
                                                       uint64_t address, void *data),
                                      enum qemu_plugin_cb_flags flags,
                                      enum qemu_plugin_mem_rw which, void *data);
void qemu_plugin_register_vcpu_syscall_cb(qemu_plugin_id_t id,
                                          void (*callback)(qemu_plugin_id_t id, unsigned int cpu,
                                                           int64_t number, uint64_t a1, uint64_t a2,
                                                           uint64_t a3, uint64_t a4, uint64_t a5,
                                                           uint64_t a6, uint64_t a7, uint64_t a8));
void qemu_plugin_register_atexit_cb(qemu_plugin_id_t id, void (*callback)(qemu_plugin_id_t, void *),
                                    void *data);
size_t qemu_plugin_tb_n_insns(const struct qemu_plugin_tb *block);
struct qemu_plugin_insn *qemu_plugin_tb_get_insn(const struct qemu_plugin_tb *block, size_t index);
bool qemu_plugin_mem_is_store(qemu_plugin_meminfo_t info);

#define EXPORTED __attribute__((visibility("default")))
EXPORTED extern int qemu_plugin_version;
EXPORTED int qemu_plugin_install(qemu_plugin_id_t id, const void *info, int argc, char **argv);

#endif
