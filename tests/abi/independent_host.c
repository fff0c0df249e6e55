/* Independent host for the Images plug-in in plain C, written from the published binary interface
 * alone: loads the library named on the command line, answers its resolver, keeps host objects and
 * strings with reference counts and drives member calls through the registered class tables.
 * Output: one line per check, then "N passed, M failed". */
#define _GNU_SOURCE
#include <ctype.h>
#include <dlfcn.h>
#include <stdarg.h>
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>

/* ---- Records of the binary interface ---- */

typedef void (*REALproc)(void);
typedef struct hobj *REALobject, *REALarray, *REALstring;
typedef struct hclass* REALclassRef;

/* RECORD(T, size, n, (type, field, offset) x n) declares T from its published fields and has the
 * compiler confirm every offset and the size; records this host does not read are void*. Fn(M, T,
 * x1, ..., xn) expands M(T, xi...) for each tuple; only the counts used here are defined. */
#define STRIP(...) __VA_ARGS__
#define APPLY(M, ...) M(__VA_ARGS__)
#define F1(M, T, x) APPLY(M, T, STRIP x)
#define F2(M, T, x, ...) F1(M, T, x) F1(M, T, __VA_ARGS__)
#define F3(M, T, x, ...) F1(M, T, x) F2(M, T, __VA_ARGS__)
#define F4(M, T, x, ...) F1(M, T, x) F3(M, T, __VA_ARGS__)
#define F5(M, T, x, ...) F1(M, T, x) F4(M, T, __VA_ARGS__)
#define F6(M, T, x, ...) F1(M, T, x) F5(M, T, __VA_ARGS__)
#define F7(M, T, x, ...) F1(M, T, x) F6(M, T, __VA_ARGS__)
#define F8(M, T, a, b, c, d, ...) F4(M, T, a, b, c, d) F4(M, T, __VA_ARGS__)
#define F12(M, T, a, b, c, d, ...) F4(M, T, a, b, c, d) F8(M, T, __VA_ARGS__)
#define F16(M, T, a, b, c, d, ...) F4(M, T, a, b, c, d) F12(M, T, __VA_ARGS__)
#define F20(M, T, a, b, c, d, ...) F4(M, T, a, b, c, d) F16(M, T, __VA_ARGS__)
#define F24(M, T, a, b, c, d, ...) F4(M, T, a, b, c, d) F20(M, T, __VA_ARGS__)
#define F29(M, T, a, b, c, d, e, ...) F5(M, T, a, b, c, d, e) F24(M, T, __VA_ARGS__)
#define DECL(T, type, f, o) type f;
#define AT(T, type, f, o) _Static_assert(offsetof(T, f) == (o), #T "." #f " at " #o);
#define RECORD(T, size, n, ...) \
  typedef struct {              \
    F##n(DECL, T, __VA_ARGS__)  \
  } T;                          \
  F##n(AT, T, __VA_ARGS__) _Static_assert(sizeof(T) == (size), #T " is " #size " bytes")

RECORD(REALproperty, 96, 12, (const char*, group, 0), (const char*, name, 8),
       (const char*, type, 16), (uint32_t, flags, 24), (REALproc, getter, 32),
       (REALproc, setter, 40), (int32_t, param, 48), (REALproc, editor, 56),
       (size_t, enumCount, 64), (const char**, enumEntries, 72), (size_t, attributeCount, 80),
       (void*, attributes, 88));
RECORD(REALmethodDefinition, 48, 6, (REALproc, function, 0), (REALproc, setterFunction, 8),
       (const char*, declaration, 16), (uint32_t, mFlags, 24), (size_t, attributeCount, 32),
       (void*, attributes, 40));
RECORD(REALevent, 32, 4, (const char*, declaration, 0), (int64_t, forSystemUse, 8),
       (size_t, attributeCount, 16), (void*, attributes, 24));
RECORD(REALconstant, 40, 5, (const char*, declaration, 0), (void*, reserved1, 8),
       (uint32_t, mFlags, 16), (size_t, attributeCount, 24), (void*, attributes, 32));
RECORD(REALclassDefinition, 232, 29, (uint32_t, version, 0), (const char*, name, 8),
       (const char*, superName, 16), (size_t, dataSize, 24), (int64_t, forSystemUse, 32),
       (REALproc, constructor, 40), (REALproc, destructor, 48), (REALproperty*, properties, 56),
       (size_t, propertyCount, 64), (REALmethodDefinition*, methods, 72), (size_t, methodCount, 80),
       (REALevent*, events, 88), (size_t, eventCount, 96), (void*, eventInstances, 104),
       (size_t, eventInstanceCount, 112), (const char*, interfaces, 120), (void*, attributes, 128),
       (size_t, attributeCount, 136), (REALconstant*, constants, 144), (size_t, constantCount, 152),
       (uint32_t, mFlags, 160), (REALproperty*, sharedProperties, 168),
       (size_t, sharedPropertyCount, 176), (REALmethodDefinition*, sharedMethods, 184),
       (size_t, sharedMethodCount, 192), (void*, delegates, 200), (size_t, delegateCount, 208),
       (void*, enums, 216), (size_t, enumCount, 224));

#define STD ((REALproc)(intptr_t)-1) /* standard accessor: the host reads or writes the field */
#define FP(f) ((void*)(uintptr_t)(f))
#define ENC_UTF8 0x08000100u
#define ENC_ASCII 0x0600u
#define DATA_OFS 80          /* where this host places the instance data inside an object */
#define MB_LIMIT (1LL << 30) /* larger MemoryBlocks are refused with OutOfMemoryException */
#define HOST_VERSION 2021.03

/* ---- Checks and diagnostics ---- */

static int g_pass, g_fail, g_misuse;
static char g_bad[320]; /* the details a table-driven check prints when it fails */

__attribute__((format(printf, 2, 3))) static int check(int ok, const char* fmt, ...) {
  va_list ap;
  va_start(ap, fmt);
  printf("%s", ok ? "ok   " : "FAIL "), vprintf(fmt, ap), putchar('\n');
  va_end(ap);
  return ok ? g_pass++ : g_fail++, ok;
}

/* A check that passes when no detail was collected in g_bad, which it then clears. */
static int verdict(const char* what) {
  int ok = check(!g_bad[0], "%s%s%s", what, g_bad[0] ? "; wrong:" : "", g_bad);
  return g_bad[0] = 0, ok;
}
#define BAD(cond, ...)                                                            \
  do {                                                                            \
    if ((cond) && strlen(g_bad) < 220)                                            \
      snprintf(g_bad + strlen(g_bad), sizeof g_bad - strlen(g_bad), __VA_ARGS__); \
  } while (0)

/* A wrong use of the host interface by the plug-in: printed at once, counted for a final check. */
#define MISUSE(...) (void)(g_misuse++ < 40 && printf("# misuse: " __VA_ARGS__) && putchar('\n'))

/* ---- Host objects, strings among them, listed so that a stale pointer is recognised ---- */

struct hclass {
  char name[64];
  struct hclass* super;
  REALclassDefinition* def; /* of a plug-in class; null for the host's own */
  size_t dataSize;
  REALproc ctor, dtor;
  long live;
};
struct hobj {
  struct hobj* next;
  struct hclass* cls;
  int32_t refs;
};
_Static_assert(sizeof(struct hobj) <= DATA_OFS && DATA_OFS % 16 == 0, "header before the data");
#define DATA(o) ((unsigned char*)(o) + DATA_OFS)
/* The instance data of the host's own classes: strings, exceptions and MemoryBlocks. */
typedef struct {
  REALstring msg;
  int64_t err, size, enc;
  char* p;
} HostData;
#define HD(o) ((HostData*)DATA(o))
#define TEXT(s) ((const char*)HD(s)->p)

static struct hobj* g_objs;
static struct hclass g_cls[32], *g_str, *g_mb, *g_rte, *g_pic, *g_fac;
static REALobject g_pending;
static long g_ncls, g_guarded, g_yields, g_version = -1;
static const char* g_unknown; /* the first name the resolver did not know */

static int isa(struct hclass* c, struct hclass* t) { return c && (c == t || isa(c->super, t)); }

/* Is o a live object of class c (null: any but a string)? Anything else but nil is reported as a
 * misuse by `who`. */
static int live(REALobject o, struct hclass* c, const char* who) {
  struct hobj* t = g_objs;
  while (t && t != o) t = t->next;
  if (t && (c ? isa(t->cls, c) : t->cls != g_str)) return 1;
  if (o && who) MISUSE("%s(%p): not a live %s", who, (void*)o, c ? c->name : "object");
  return 0;
}

static struct hclass* find_class(const char* name) {
  for (int i = 0; name && i < g_ncls; i++)
    if (!strcasecmp(g_cls[i].name, name)) return &g_cls[i];
  return NULL;
}

static struct hclass* add_class(const char* name, struct hclass* super, size_t size) {
  struct hclass* c = &g_cls[g_ncls < 31 ? g_ncls++ : 31];
  *c = (struct hclass){.super = super, .dataSize = size};
  return snprintf(c->name, sizeof c->name, "%s", name), c;
}

static void ctor_chain(struct hclass* c, REALobject o) {
  if (c) ctor_chain(c->super, o);
  if (c && c->ctor) ((void (*)(REALobject))c->ctor)(o);
}

static REALobject obj_new(struct hclass* c) {
  struct hobj* o = calloc(1, DATA_OFS + c->dataSize); /* malloc alignment suits any field */
  if (!o) return NULL;
  *o = (struct hobj){g_objs, c, 1};
  g_objs = o, c->live++;
  return ctor_chain(c, o), o;
}

static REALstring str_new(const void* b, size_t n, uint32_t enc) {
  REALstring s = obj_new(g_str);
  HD(s)->p = calloc(1, n + 1), HD(s)->size = (int64_t)n, HD(s)->enc = enc;
  return n ? memcpy(HD(s)->p, b, n) : 0, s;
}

/* Drops one reference; the last one runs the destructors and frees what the object holds. */
static void release(REALobject o) {
  HostData* h = o ? HD(o) : NULL;
  struct hobj** pp = &g_objs;
  if (!o || --o->refs > 0) return;
  for (struct hclass* c = o->cls; c; c = c->super)
    if (c->dtor) ((void (*)(REALobject))c->dtor)(o);
  if (!o->cls->def) release(h->msg), free(h->p); /* one of the host's own classes */
  while (*pp != o) pp = &(*pp)->next;
  *pp = o->next, o->cls->live--, free(o);
}

static void REALLockObject(REALobject o) { (void)(live(o, NULL, "REALLockObject") && o->refs++); }
static void REALUnlockObject(REALobject o) {
  if (live(o, NULL, "REALUnlockObject")) release(o);
}
static void REALUnlockString(REALstring s) {
  if (live(s, g_str, "REALUnlockString")) release(s);
}
static REALstring REALBuildStringWithEncoding(const char* b, int n, uint32_t enc) {
  if (n >= 0 && (n == 0 || b)) return str_new(b, (size_t)n, enc);
  return MISUSE("REALBuildStringWithEncoding(%p, %d): no bytes", (const void*)b, n), NULL;
}

static REALclassRef pluginObjectType(const char* name) { return find_class(name); }
static int8_t RuntimeObjectIsa(REALobject o, REALclassRef c) {
  return live(o, NULL, "RuntimeObjectIsa") && c >= g_cls && c < g_cls + g_ncls && isa(o->cls, c);
}

static REALobject PluginNewInstance(const char* name) {
  struct hclass* c = find_class(name);
  if (c && c != g_str) return obj_new(c);
  return MISUSE("PluginNewInstance(\"%s\"): no such class", name), NULL;
}

/* A raise only records the exception; whoever called into the plug-in takes it once the call
 * returns. */
static void RuntimeRaiseException(REALobject e) {
  if (!live(e, g_rte, "RuntimeRaiseException")) return;
  if (g_pending) MISUSE("RuntimeRaiseException while another was pending"), release(g_pending);
  e->refs++, g_pending = e;
}

static REALobject take_exc(void) {
  REALobject e = g_pending;
  return g_pending = NULL, e;
}
static const char* exc_text(REALobject e) { return e && HD(e)->msg ? TEXT(HD(e)->msg) : ""; }

static REALobject PluginCallFunctionWithExceptionHandler(void (*fn)(void*), void* ctx) {
  REALobject outer = take_exc(), inner;
  g_guarded++, fn ? fn(ctx) : MISUSE("PluginCallFunctionWithExceptionHandler: no function");
  return inner = take_exc(), g_pending = outer, inner;
}

/* "Message" (String) and "ErrorNumber" (Integer) of an exception are the only properties here. */
static HostData* exc_prop(REALobject o, const char* name, const char* want) {
  if (live(o, NULL, "REALSetPropValue") && isa(o->cls, g_rte) && name && !strcasecmp(name, want))
    return HD(o);
  return printf("# note: no property %s here\n", name), NULL;
}
static int8_t REALSetPropValueString(REALobject o, const char* name, REALstring v) {
  HostData* x = exc_prop(o, name, "Message");
  if (!x || (v && !live(v, g_str, "REALSetPropValueString"))) return 0;
  return v ? v->refs++ : 0, release(x->msg), x->msg = v, 1;
}
static int8_t REALSetPropValueInteger(REALobject o, const char* name, int64_t v) {
  HostData* x = exc_prop(o, name, "ErrorNumber");
  return x ? (x->err = v, 1) : 0;
}

/* ---- Memory blocks ---- */

/* MemoryBlock's "Constructor(bytes as Integer)". */
static void mb_ctor(REALobject o, int64_t bytes) {
  HostData* m = live(o, g_mb, "MemoryBlock.Constructor") ? HD(o) : NULL;
  REALobject e;
  if (!m) return;
  free(m->p), m->p = bytes >= 0 && bytes <= MB_LIMIT ? calloc((size_t)bytes + 1, 1) : NULL;
  m->size = m->p ? bytes : 0;
  if (m->p) return;
  e = obj_new(find_class("OutOfMemoryException"));
  HD(e)->msg = str_new("MemoryBlock too large", 21, ENC_UTF8);
  RuntimeRaiseException(e), release(e);
}

static void* memoryBlockGetPtr(REALobject o) {
  return live(o, g_mb, "memoryBlockGetPtr") ? HD(o)->p : NULL;
}
static int64_t memoryBlockGetSize(REALobject o) {
  return live(o, g_mb, "memoryBlockGetSize") ? HD(o)->size : 0;
}

/* ---- Declarations ---- */

#define IDENT "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_"

/* The signature of a declaration in lower case, "name(type,type):result": parameter names,
 * modifiers and defaults dropped, "()" written "[]". 0 when malformed: unbalanced or nested
 * parentheses, or a parameter or result without a type. */
static int canon(const char* d, char* out, size_t cap) {
  size_t n = 0, k;
  int depth = 0, need = 0, as = 0, words = 0;
  for (const char* p = d; p && *p; p += k ? k : 1) {
    if (n + 3 + (k = strspn(p, IDENT)) >= cap) return 0;
    if (k) {
      if (as && !depth) out[n++] = ':';
      for (size_t j = 0; (!words || as) && j < k; j++)
        out[n++] = (char)tolower((unsigned char)p[j]);
      need &= !as, as = words++ && k == 2 && !strncasecmp(p, "as", 2);
    } else if (!strncmp(p, "()", 2)) {
      out[n++] = '[', out[n++] = ']', k = 2;
    } else if (strchr("(,)", *p)) {
      if (as || (need && !(*p == ')' && out[n - 1] == '('))) return 0;
      depth += *p == '(' ? 1 : *p == ')' ? -1 : 0, need = *p != ')', out[n++] = *p;
      if (depth < 0 || depth > 1) return 0;
    }
  }
  out[n] = 0;
  return words && !depth && !need && !as && isalpha((unsigned char)out[0]);
}

static int decl_is(const char* decl, const char* sig) {
  char c[512], want[512];
  return canon(decl, c, sizeof c) && canon(sig, want, sizeof want) && !strcmp(c, want);
}

/* Entry i of an instance table followed by its shared table. */
#define NTH(d, tab, shared, count, i) \
  ((i) < (d)->count ? &(d)->tab[i] : &(d)->shared[(i) - (d)->count])

/* A member of PictureXQT: the property of that name, else the method of that name and parameter
 * types, as in "Row(i as integer) as memoryblock". */
static void* member(const char* key) {
  REALclassDefinition* d = g_pic->def;
  for (size_t i = 0; i < d->propertyCount; i++)
    if (!strcasecmp(d->properties[i].name, key)) return &d->properties[i];
  for (size_t i = 0; i < d->methodCount; i++)
    if (decl_is(d->methods[i].declaration, key)) return &d->methods[i];
  return NULL;
}

/* The value of a constant "Name = value" with a decimal value (all are below 100); else -1. */
static long long const_value(const char* d) {
  size_t n = d ? strspn(d, IDENT) : 0;
  const char* v = d + n + 3;
  if (!n || strncmp(d + n, " = ", 3) || !v[0] || strspn(v, "0123456789") != strlen(v)) return -1;
  return strtoll(v, NULL, 10);
}

/* ---- Registration and the resolver ---- */

static void PluginRegisterClass(REALclassDefinition* d) {
  struct hclass* c;
  if (!d || !d->name) {
    MISUSE("PluginRegisterClass(%p): no definition with a name", (void*)d);
    return;
  }
  c = add_class(d->name, NULL, d->dataSize);
  c->def = d, c->ctor = d->constructor, c->dtor = d->destructor, d->forSystemUse = DATA_OFS;
}

static REALproc REALLoadObjectMethod(REALobject o, const char* decl) {
  if (live(o, g_mb, "REALLoadObjectMethod") && decl_is(decl, "Constructor(bytes as Integer)"))
    return (REALproc)mb_ctor;
  return printf("# note: object method %s not provided\n", decl), (REALproc)0;
}

static void RegisterPluginVersion(int v) { g_version = v; }
static double REALGetRBVersion(void) { return HOST_VERSION; }
static int8_t REALinRuntime(void) { return 1; }
static void REALYieldToRB(void) { g_yields++; }

/* Answers the published names the plug-in asks for. Any other name resolves to null and fails the
 * final check: an unpublished one does not exist in the real host, and a published one the plug-in
 * starts to use must be added here. */
#define ENTRY(unused, f) \
  if (!strcmp(name, #f)) return FP(&f);
static void* resolver(const char* name) {
  if (!name) return MISUSE("resolver called without a name"), NULL;
  F16(ENTRY, , (PluginRegisterClass), (RegisterPluginVersion), (REALGetRBVersion), (REALinRuntime),
      (REALLockObject), (REALUnlockObject), (PluginNewInstance), (pluginObjectType),
      (RuntimeObjectIsa), (REALLoadObjectMethod), (RuntimeRaiseException),
      (PluginCallFunctionWithExceptionHandler), (REALSetPropValueInteger), (REALSetPropValueString),
      (REALBuildStringWithEncoding), (REALUnlockString));
  F3(ENTRY, , (memoryBlockGetPtr), (memoryBlockGetSize), (REALYieldToRB));
  return g_unknown = g_unknown ? g_unknown : name, NULL;
}

/* ---- Checks ---- */

static void (*g_entry)(void* (*)(const char*));
static REALmethodDefinition* g_ctor3;
static REALobject g_img;
static int64_t g_rgba = -1;

/* An Integer or Boolean property of a live PictureXQT read through its standard getter; INT64_MIN
 * when it has none. */
static int64_t iv(REALobject o, const char* name) {
  REALproperty* p = live(o, g_pic, NULL) ? member(name) : NULL;
  int64_t v = INT64_MIN;
  if (p && p->getter == STD && !strcasecmp(p->type, "boolean")) v = *(int8_t*)(DATA(o) + p->param);
  if (p && p->getter == STD && !strcasecmp(p->type, "integer")) memcpy(&v, DATA(o) + p->param, 8);
  return v;
}

/* Writes g_img's YieldTicks as its standard setter says. */
static void set_yield_ticks(REALproperty* p, int64_t v) { memcpy(DATA(g_img) + p->param, &v, 8); }

static REALobject make_image(int64_t w, int64_t h, int64_t f, REALobject* exc) {
  REALobject o = obj_new(g_pic);
  ((void (*)(REALobject, int64_t, int64_t, int64_t))g_ctor3->function)(o, w, h, f);
  return *exc = take_exc(), o;
}

static size_t type_width(const char* t) {
  return !strcasecmp(t, "boolean") ? 1 : !strcasecmp(t, "color") ? 4 : 8;
}

static void t_register(void) {
  g_entry(resolver);
  g_pic = find_class("PictureXQT"), g_fac = find_class("PictureFactoryXQT");
  check(g_version == 13 && g_pic && g_fac && g_pic->def->version == 13 && g_fac->def->version == 13,
        "host %.2f: the plug-in registers version 13 (got %ld), then PictureXQT and "
        "PictureFactoryXQT with version-13 definitions",
        HOST_VERSION, g_version);
}

/* Collects in g_bad the members of d that the host could not use (declarations that do not parse,
 * no function, standard accessors outside the instance data) or, for PictureXQT, flagged otherwise
 * than published. */
static void members_ok(const REALclassDefinition* d) {
  int pic = d == g_pic->def;
  char sig[512];
  BAD(pic && d->mFlags != 4, " %s: class flags %u;", d->name, d->mFlags);
  for (size_t i = 0; i < d->propertyCount + d->sharedPropertyCount; i++) {
    const REALproperty* p = NTH(d, properties, sharedProperties, propertyCount, i);
    int inst = i < d->propertyCount;
    BAD(!p->name || !p->type || (!inst && (p->getter == STD || p->setter == STD)) ||
            ((p->getter == STD || p->setter == STD) &&
             (p->param < 0 || p->param + type_width(p->type) > d->dataSize)) ||
            (pic && p->flags != (inst ? 6u : 0x26u)),
        " %s.%s;", d->name, p->name ? p->name : "?");
  }
  for (size_t i = 0; i < d->methodCount + d->sharedMethodCount; i++) {
    const REALmethodDefinition* m = NTH(d, methods, sharedMethods, methodCount, i);
    BAD(!canon(m->declaration, sig, sizeof sig) || !m->function || (pic && m->mFlags != 4),
        " %s.%s;", d->name, m->declaration ? m->declaration : "?");
  }
  for (size_t i = 0; i < d->eventCount; i++)
    BAD(!canon(d->events[i].declaration, sig, sizeof sig), " %s event %zu;", d->name, i);
}

static void t_tables(void) {
  static const char* want[] = {
      "ImageFormatUnknown = 0", "ImageFormatRGB = 1",       "ImageFormatRGBA = 2",
      "ImageFormatG1 = 11",     "ImageFormatAofARGB = 18",  "ImageFormatBuffer = 22",
      "ImageFormatXKYMC = 32",  "ImageFormatScaling5 = 37", "ImageFormatGray16 = 41",
      "ImageFormatG8 = 48",     "ScaleCubic = 7",           "DitherCluster8Matrix = 10"};
  REALclassDefinition *d = g_pic ? g_pic->def : NULL, *f = g_fac ? g_fac->def : NULL;
  if (!d || !f) return;
  BAD(d->propertyCount != 48 || d->methodCount != 138 || d->constantCount != 88,
      " PictureXQT %zu properties, %zu methods, %zu constants;", d->propertyCount, d->methodCount,
      d->constantCount);
  BAD(d->sharedPropertyCount != 1 || d->sharedMethodCount != 5 || !d->dataSize || d->dataSize % 16,
      " %zu + %zu shared, data size %zu;", d->sharedPropertyCount, d->sharedMethodCount,
      d->dataSize);
  BAD(f->eventCount != 1 || f->sharedPropertyCount != 1 || f->sharedMethodCount != 2,
      " PictureFactoryXQT %zu events, %zu + %zu shared;", f->eventCount, f->sharedPropertyCount,
      f->sharedMethodCount);
  BAD(d->superName || f->superName || d->delegates || d->delegateCount || d->enums ||
          d->enumCount || f->delegates || f->delegateCount || f->enums || f->enumCount,
      " a superclass, delegates or enums");
  verdict("table sizes as published; no superclass, delegates or enums");
  members_ok(d), members_ok(f);
  verdict("every declaration parses, every function is set, flags 4, 6 or 0x26 as published");
  for (size_t i = 0; i < d->constantCount; i++) {
    const REALconstant* c = &d->constants[i];
    BAD(const_value(c->declaration) < 0 || c->reserved1 || c->mFlags & 0x40000, " [%s]",
        c->declaration ? c->declaration : "?");
    if (!strncmp(c->declaration, "ImageFormatRGBA = ", 18)) g_rgba = const_value(c->declaration);
  }
  for (size_t i = 0, j, n = d->constantCount; i < sizeof want / sizeof *want; i++) {
    for (j = 0; j < n && strcmp(d->constants[j].declaration, want[i]); j++) continue;
    BAD(j == n, " no [%s]", want[i]);
  }
  verdict("constants read \"Name = value\" with null reserved1 and no 0x40000, codes as published");
}

static void t_construct(void) {
  static const struct {
    const char* n;
    int64_t w;
  } want[] = {{"Width", 5},       {"Height", 3},       {"PixelSize", 4}, {"Valid", 1},
              {"ImageFormat", 2}, {"ChannelCount", 4}, {"RowOffset", 0}, {"UnclippedHeight", 3},
              {"YieldTicks", 0},  {"HasAlpha", 1},     {"IsRGB", 1},     {"IsGray", 0}};
  REALobject e = NULL;
  g_ctor3 = member("Constructor(width as integer, height as integer, ImageFormat as integer)");
  if (g_ctor3 && g_rgba > 0) g_img = make_image(5, 3, g_rgba, &e);
  BAD(!g_img || e, " constructor missing or raised \"%s\";", exc_text(e));
  for (size_t i = 0; g_img && i < sizeof want / sizeof *want; i++)
    BAD(iv(g_img, want[i].n) != want[i].w, " %s=%lld", want[i].n, (long long)iv(g_img, want[i].n));
  release(e);
  verdict("Constructor(5, 3, RGBA) raises nothing; standard getters give Width 5, Height 3, ...");
}

static void t_string(void) {
  REALproperty* p = member("ImageFormatString");
  long before = g_str->live;
  REALstring s = NULL;
  int ok;
  if (g_img && p && p->getter && p->getter != STD && !strcasecmp(p->type, "string"))
    s = ((REALstring(*)(REALobject, int64_t))p->getter)(g_img, p->param);
  release(take_exc()), s = live(s, g_str, NULL) ? s : NULL;
  ok = s && HD(s)->size == 4 && !strcmp(TEXT(s), "RGBA") && s->refs == 1 &&
       (HD(s)->enc == ENC_ASCII || HD(s)->enc == ENC_UTF8);
  release(s);
  check(ok && g_str->live == before,
        "ImageFormatString's getter(instance, param): \"RGBA\", ASCII or UTF-8, held once");
}

static void t_exceptions(void) {
  REALmethodDefinition* m = member("ChannelOffset(index as integer) as integer");
  int64_t n = iv(g_img, "ChannelCount"), idx[] = {2, 99, -1};
  long before = g_pic ? g_pic->live : 0, guarded = g_guarded;
  REALobject e, o;
  char want[200];
  if (!g_img) return;
  for (int i = 0; i < 3; i++) {
    int64_t off = m ? ((int64_t(*)(REALobject, int64_t))m->function)(g_img, idx[i]) : -1;
    e = take_exc();
    snprintf(want, sizeof want,
             "The parameter index to method ChannelOffset is too %s. Range is 0 "
             "to %lld, but value is %lld.",
             idx[i] < 0 ? "small" : "big", (long long)n - 1, (long long)idx[i]);
    BAD(i ? !e || !isa(e->cls, find_class("OutOfBoundsException")) || strcmp(exc_text(e), want) ||
                HD(e)->err || off
          : e || off != 2,
        " (%lld) gave %lld, %s \"%s\" %lld;", (long long)idx[i], (long long)off,
        e ? e->cls->name : "nothing", exc_text(e), e ? (long long)HD(e)->err : 0LL);
    release(e);
  }
  verdict("ChannelOffset(2) is 2; (99), (-1) return 0 and raise OutOfBoundsException as published");
  o = make_image(5, 3, 14, &e), n = iv(o, "Valid");
  release(o);
  check((!e || isa(e->cls, g_rte)) && n == 0 && g_pic->live == before,
        "Constructor(5, 3, 14) leaves the instance invalid, and it is released");
  release(e);
  o = make_image(65536, 65536, g_rgba, &e), n = iv(o, "Valid");
  release(o);
  check(e && isa(e->cls, find_class("OutOfMemoryException")) && exc_text(e)[0] && n == 0 &&
            g_pic->live == before && g_guarded > guarded,
        "65536 x 65536 RGBA: OutOfMemoryException through a guarded call (%s)", exc_text(e));
  release(e);
}

/* Row y of g_img through "Row(index as integer) as memoryblock"; the block is released again. */
static int read_row(REALmethodDefinition* row, int64_t y, unsigned char* out, size_t n) {
  REALobject mb = ((REALobject(*)(REALobject, int64_t))row->function)(g_img, y), e = take_exc();
  HostData* m = live(mb, g_mb, NULL) ? HD(mb) : NULL;
  int ok = !e && m && m->size >= (int64_t)n;
  if (ok) memcpy(out, m->p, n);
  release(e), release(m ? mb : NULL);
  return ok;
}

static void t_fill_and_rows(void) {
  typedef int64_t I;
  REALmethodDefinition* all =
      member("FillRectRGB(r as integer, g as integer, b as integer, a as integer)");
  REALmethodDefinition* rect = member(
      "FillRectRGB(x as integer, y as integer, w as integer, h as integer, r as integer, "
      "g as integer, b as integer, a as integer)");
  REALmethodDefinition* row = member("Row(index as integer) as memoryblock");
  REALproperty* yt = member("YieldTicks");
  unsigned char px[20], want[20];
  long y1 = g_yields, y2;
  REALobject e, mb;
  if (!check(g_img && all && rect && row && row->setterFunction && yt && yt->setter == STD,
             "both FillRectRGB forms, the assignable Row(index) and YieldTicks registered"))
    return;
  /* A fresh image's first row yields at an interval of one tick and none at 2^40 ms: the plug-in
   * reads YieldTicks where the host wrote it. */
  set_yield_ticks(yt, 1);
  ((void (*)(REALobject, I, I, I, I))all->function)(g_img, 10, 20, 30, 40);
  y1 = g_yields - y1, y2 = g_yields, set_yield_ticks(yt, -(1LL << 40));
  ((void (*)(REALobject, I, I, I, I, I, I, I, I))rect->function)(g_img, 1, 1, 1, 1, 200, 201, 202,
                                                                 203);
  y2 = g_yields - y2, e = take_exc(), set_yield_ticks(yt, 0);
  check(y1 > 0 && y2 == 0, "a fill yields with YieldTicks 1 and not with -2^40 (%ld, %ld)", y1, y2);
  BAD(e, " raised \"%s\";", exc_text(e));
  for (int y = 0; y < 3; y++) {
    BAD(!read_row(row, y, px, 20), " no row %d;", y);
    for (int i = 0; i < 20; i++)
      BAD(px[i] != (i / 4 == 1 && y == 1 ? 200 + i % 4 : 10 * (i % 4 + 1)), " [%d][%d] %d", y, i,
          px[i]);
  }
  release(e);
  verdict("both fills raise nothing, and Row(0..2) return MemoryBlocks that show them");
  /* The assignable form: the setter gets the getter's arguments followed by the value. */
  mb = obj_new(g_mb), mb_ctor(mb, 20);
  for (int i = 0; i < 20; i++) want[i] = (unsigned char)(HD(mb)->p[i] = (char)(7 * i + 1));
  ((void (*)(REALobject, int64_t, REALobject))row->setterFunction)(g_img, 2, mb);
  e = take_exc();
  check(!e && read_row(row, 2, px, 20) && !memcmp(px, want, 20) && read_row(row, 1, px, 20) &&
            px[4] == 200 && mb->refs == 1,
        "Row(2) = block copies the block into row 2 only and keeps no reference");
  release(e), release(mb);
}

static void t_release(void) {
  release(g_img);
  for (int i = 0; i < g_ncls; i++)
    BAD(g_cls[i].live && &g_cls[i] != g_str, " %.40s:%ld", g_cls[i].name, g_cls[i].live);
  verdict("every object released (live count 0 per class)");
  for (struct hobj* s = g_objs; s; s = s->next) BAD(s->cls == g_str, " \"%.20s\"", TEXT(s));
  verdict("every host string released");
  check(!g_pending, "no exception left pending");
  check(!g_unknown, "the plug-in asks the resolver only for names this host answers%s%s",
        g_unknown ? "; unknown: " : "", g_unknown ? g_unknown : "");
  check(!g_misuse, "the plug-in calls host entry points only with valid arguments");
}

int main(int argc, char** argv) {
  static const char* exceptions[] = {"NilObjectException", "UnsupportedOperationException",
                                     "OutOfBoundsException", "OutOfMemoryException"};
  void *lib, *entry;
  if (argc != 2) return fprintf(stderr, "usage: %s path/to/libImages.so\n", argv[0]), 2;
  setvbuf(stdout, NULL, _IOLBF, 0);
  g_str = add_class("String", NULL, sizeof(HostData));
  g_mb = add_class("MemoryBlock", NULL, sizeof(HostData));
  g_rte = add_class("RuntimeException", NULL, sizeof(HostData));
  for (int i = 0; i < 4; i++) add_class(exceptions[i], g_rte, sizeof(HostData));
  lib = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
  check(lib != NULL, "dlopen %s%s%s", argv[1], lib ? "" : ": ", lib ? "" : dlerror());
  entry = lib ? dlsym(lib, "REALPluginMain") : NULL;
  if (check(entry != NULL, "REALPluginMain is exported")) {
    g_entry = (void (*)(void* (*)(const char*)))(uintptr_t)entry;
    t_register();
    if (g_pic && g_fac) {
      t_tables(), t_construct(), t_string(), t_exceptions(), t_fill_and_rows(), t_release();
    }
  }
  printf("%d passed, %d failed\n", g_pass, g_fail);
  return g_fail ? 1 : 0;
}
