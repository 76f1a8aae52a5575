/*
 * lines.c - QEMU TCG plugin (API v1, QEMU 7.2): the distinct 64-byte cache
 * lines that a guest program reads and writes inside its region of interest,
 * the memory traffic a call causes once no line is cached.
 *
 * The region is marked as for the arm-icount tool's count.c (roi.h: a
 * getpid system call, aarch64 number 172, with the magic 0x51455643 and 1 to
 * begin, 2 to end). Every load and store of an instruction executed inside it
 * adds the lines it touches (two when it crosses a line) to the set of lines
 * read or written; a line both read and written is in both sets.
 *
 * Arguments (-plugin ./liblines.so,arg=value): out=FILE writes the result line
 * "roi_regions=N read_lines=R write_lines=W accesses=A" to FILE instead of
 * standard error. Run one guest thread: the sets are not locked.
 */
#include <inttypes.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "qemu-plugin.h"

/* Memory callbacks of the plugin API (version 1), which the arm-icount
 * tool's header leaves out. */
typedef uint32_t qemu_plugin_meminfo_t;
enum qemu_plugin_mem_rw { QEMU_PLUGIN_MEM_R = 1, QEMU_PLUGIN_MEM_W, QEMU_PLUGIN_MEM_RW };
typedef void (*qemu_plugin_vcpu_mem_cb_t)(unsigned int vcpu_index, qemu_plugin_meminfo_t info,
                                          uint64_t vaddr, void *userdata);
void qemu_plugin_register_vcpu_mem_cb(struct qemu_plugin_insn *insn, qemu_plugin_vcpu_mem_cb_t cb,
                                      enum qemu_plugin_cb_flags flags, enum qemu_plugin_mem_rw rw,
                                      void *userdata);
unsigned int qemu_plugin_mem_size_shift(qemu_plugin_meminfo_t info);
bool qemu_plugin_mem_is_store(qemu_plugin_meminfo_t info);

QEMU_PLUGIN_EXPORT int qemu_plugin_version = QEMU_PLUGIN_VERSION;

#define MARK_MAGIC 0x51455643u
#define MARK_SYSNO 172

/* A set of line numbers: open addressing, doubled when half full. Line
 * numbers are stored plus one, so 0 marks a free slot. */
struct line_set {
    uint64_t *slot;
    size_t cap, n;
};

static void set_add(struct line_set *s, uint64_t line);

static void set_grow(struct line_set *s)
{
    struct line_set bigger = {calloc(s->cap ? 2 * s->cap : 1 << 16, sizeof(uint64_t)),
                              s->cap ? 2 * s->cap : 1 << 16, 0};
    if (!bigger.slot) {
        fprintf(stderr, "lines: out of memory\n");
        exit(1);
    }
    for (size_t i = 0; i < s->cap; i++) {
        if (s->slot[i]) {
            set_add(&bigger, s->slot[i] - 1);
        }
    }
    free(s->slot);
    *s = bigger;
}

static void set_add(struct line_set *s, uint64_t line)
{
    if (2 * (s->n + 1) > s->cap) {
        set_grow(s);
    }
    size_t i = (size_t)((line * 0x9E3779B97F4A7C15ull) >> 20) & (s->cap - 1);
    while (s->slot[i] && s->slot[i] != line + 1) {
        i = (i + 1) & (s->cap - 1);
    }
    if (!s->slot[i]) {
        s->slot[i] = line + 1;
        s->n++;
    }
}

static struct line_set reads, writes;
static uint64_t accesses, regions;
static int roi_open;
static char *out_path;

static void on_access(unsigned int vcpu_index, qemu_plugin_meminfo_t info, uint64_t vaddr,
                      void *udata)
{
    (void)vcpu_index;
    (void)udata;
    if (!roi_open) {
        return;
    }
    struct line_set *s = qemu_plugin_mem_is_store(info) ? &writes : &reads;
    const uint64_t last = vaddr + (1u << qemu_plugin_mem_size_shift(info)) - 1;
    set_add(s, vaddr >> 6);
    if ((last >> 6) != (vaddr >> 6)) {
        set_add(s, last >> 6);
    }
    accesses++;
}

static void tb_trans(qemu_plugin_id_t id, struct qemu_plugin_tb *tb)
{
    (void)id;
    for (size_t i = 0; i < qemu_plugin_tb_n_insns(tb); i++) {
        qemu_plugin_register_vcpu_mem_cb(qemu_plugin_tb_get_insn(tb, i), on_access,
                                         QEMU_PLUGIN_CB_NO_REGS, QEMU_PLUGIN_MEM_RW, NULL);
    }
}

static void on_syscall(qemu_plugin_id_t id, unsigned int vcpu_index, int64_t num, uint64_t a1,
                       uint64_t a2, uint64_t a3, uint64_t a4, uint64_t a5, uint64_t a6,
                       uint64_t a7, uint64_t a8)
{
    (void)id; (void)vcpu_index; (void)a3; (void)a4; (void)a5; (void)a6; (void)a7; (void)a8;
    if (num != MARK_SYSNO || (uint32_t)a1 != MARK_MAGIC) {
        return;
    }
    if (a2 == 1) {
        roi_open = 1;
    } else if (a2 == 2 && roi_open) {
        roi_open = 0;
        regions++;
    }
}

static void at_exit(qemu_plugin_id_t id, void *p)
{
    (void)id;
    (void)p;
    FILE *f = out_path ? fopen(out_path, "w") : stderr;
    if (!f) {
        f = stderr;
    }
    fprintf(f, "roi_regions=%" PRIu64 " read_lines=%zu write_lines=%zu accesses=%" PRIu64 "\n",
            regions, reads.n, writes.n, accesses);
    if (f != stderr) {
        fclose(f);
    }
}

QEMU_PLUGIN_EXPORT int qemu_plugin_install(qemu_plugin_id_t id, const qemu_info_t *info,
                                           int argc, char **argv)
{
    (void)info;
    for (int i = 0; i < argc; i++) {
        if (strncmp(argv[i], "out=", 4) == 0) {
            out_path = strdup(argv[i] + 4);
        }
    }
    qemu_plugin_register_vcpu_tb_trans_cb(id, tb_trans);
    qemu_plugin_register_vcpu_syscall_cb(id, on_syscall);
    qemu_plugin_register_atexit_cb(id, at_exit, NULL);
    return 0;
}
