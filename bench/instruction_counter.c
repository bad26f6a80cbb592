/* A plug-in of QEMU's user-mode emulators that tells how many instructions a program executed.
 * Debian packages no header for these, so what is needed of their interface (version 1) is declared
 * here. qemu-ARCH -plugin libinstruction_counter.so -d plugin PROGRAM */
#include <inttypes.h>
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

typedef uint64_t plugin_id;
struct qemu_plugin_tb;
typedef void (*tb_callback)(plugin_id id, struct qemu_plugin_tb* tb);
typedef void (*exit_callback)(plugin_id id, void* data);
enum inline_operation { inline_add = 0 };

void qemu_plugin_register_vcpu_tb_trans_cb(plugin_id id, tb_callback callback);
void qemu_plugin_register_vcpu_tb_exec_inline(struct qemu_plugin_tb* tb,
                                              enum inline_operation operation, void* counter,
                                              uint64_t operand);
size_t qemu_plugin_tb_n_insns(const struct qemu_plugin_tb* tb);
void qemu_plugin_register_atexit_cb(plugin_id id, exit_callback callback, void* data);
void qemu_plugin_outs(const char* text);

__attribute__((visibility("default"))) int qemu_plugin_version = 1;
int qemu_plugin_install(plugin_id id, const void* info, int argc, char** argv);

static uint64_t executed;

/* A block runs from its beginning to its end, but for faults. */
static void count_block(plugin_id id, struct qemu_plugin_tb* block) {
  (void)id;
  qemu_plugin_register_vcpu_tb_exec_inline(block, inline_add, &executed,
                                           qemu_plugin_tb_n_insns(block));
}

static void tell(plugin_id id, void* data) {
  (void)id;
  (void)data;
  char text[32];
  snprintf(text, sizeof text, "%" PRIu64 "\n", executed);
  qemu_plugin_outs(text);
}

__attribute__((visibility("default"))) int qemu_plugin_install(plugin_id id, const void* info,
                                                               int argc, char** argv) {
  (void)info;
  (void)argc;
  (void)argv;
  qemu_plugin_register_vcpu_tb_trans_cb(id, count_block);
  qemu_plugin_register_atexit_cb(id, tell, NULL);
  return 0;
}
