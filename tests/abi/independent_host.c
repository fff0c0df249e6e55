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
typedef struct hobj *REALobject, *REALstring;
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
RECORD(REALconstant, 40, 5, (const char*, declaration, 0), (void*, reserved1, 8),
       (uint32_t, mFlags, 16), (size_t, attributeCount, 24), (void*, attributes, 32));
RECORD(REALclassDefinition, 232, 29, (uint32_t, version, 0), (const char*, name, 8),
       (const char*, superName, 16), (size_t, dataSize, 24), (int64_t, forSystemUse, 32),
       (REALproc, constructor, 40), (REALproc, destructor, 48), (REALproperty*, properties, 56),
       (size_t, propertyCount, 64), (REALmethodDefinition*, methods, 72), (size_t, methodCount, 80),
       (void*, events, 88), (size_t, eventCount, 96), (void*, eventInstances, 104),
       (size_t, eventInstanceCount, 112), (const char*, interfaces, 120), (void*, attributes, 128),
       (size_t, attributeCount, 136), (REALconstant*, constants, 144), (size_t, constantCount, 152),
       (uint32_t, mFlags, 160), (REALproperty*, sharedProperties, 168),
       (size_t, sharedPropertyCount, 176), (REALmethodDefinition*, sharedMethods, 184),
       (size_t, sharedMethodCount, 192), (void*, delegates, 200), (size_t, delegateCount, 208),
       (void*, enums, 216), (size_t, enumCount, 224));

#define STD ((REALproc)(intptr_t)-1) /* standard accessor: the host reads or writes the field */
#define ENC_UTF8 0x08000100u
#define DATA_OFS 80          /* where this host places the instance data inside an object */
#define MB_LIMIT (1LL << 30) /* larger MemoryBlocks are refused with OutOfMemoryException */
#define HOST_VERSION 2021.03

static int g_pass, g_fail, g_misuse;

__attribute__((format(printf, 2, 3))) static int check(int ok, const char* fmt, ...) {
  va_list ap;
  va_start(ap, fmt);
  printf("%s", ok ? "ok   " : "FAIL "), vprintf(fmt, ap), putchar('\n');
  va_end(ap);
  return ok ? g_pass++ : g_fail++, ok;
}

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
static long g_ncls, g_guarded, g_version = -1;
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
  int ok =
      live(o, NULL, "REALSetPropValue") && isa(o->cls, g_rte) && name && !strcasecmp(name, want);
  return ok ? HD(o) : (printf("# note: no property %s here\n", name), NULL);
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

/* A declaration in lower case without blanks and without the names of its parameters (a word
 * followed by "as"), so that "F(a as integer)" and "f( Count As Integer )" compare equal. */
static void signature(const char* d, char* out, size_t cap) {
  size_t n = 0, k;
  for (const char* p = d; *p && n + 1 < cap; p += k ? k : 1) {
    k = strspn(p, "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_");
    const char* next = p + k + strspn(p + k, " ");
    if (k && !strncasecmp(next, "as ", 3) && (k != 2 || strncasecmp(p, "as", 2))) continue;
    for (size_t j = 0; j < (k ? k : !isspace((unsigned char)*p)) && n + 1 < cap; j++)
      out[n++] = (char)tolower((unsigned char)p[j]);
  }
  out[n] = 0;
}

/* A member of PictureXQT: the property of that name, else the method of that declaration. */
static void* member(const char* key) {
  REALclassDefinition* d = g_pic->def;
  char want[512], sig[512];
  for (size_t i = 0; i < d->propertyCount; i++)
    if (!strcasecmp(d->properties[i].name, key)) return &d->properties[i];
  signature(key, want, sizeof want);
  for (size_t i = 0; i < d->methodCount; i++)
    if (signature(d->methods[i].declaration, sig, sizeof sig), !strcmp(sig, want))
      return &d->methods[i];
  return NULL;
}

/* ---- Registration and the resolver ---- */

static void PluginRegisterClass(REALclassDefinition* d) {
  struct hclass* c = add_class(d->name, NULL, d->dataSize);
  c->def = d, c->ctor = d->constructor, c->dtor = d->destructor, d->forSystemUse = DATA_OFS;
}

static REALproc REALLoadObjectMethod(REALobject o, const char* decl) {
  char sig[128];
  if (signature(decl, sig, sizeof sig),
      live(o, g_mb, "REALLoadObjectMethod") && !strcmp(sig, "constructor(asinteger)"))
    return (REALproc)mb_ctor;
  return printf("# note: object method %s not provided\n", decl), (REALproc)0;
}

static void RegisterPluginVersion(int v) { g_version = v; }
static double REALGetRBVersion(void) { return HOST_VERSION; }
static int8_t REALinRuntime(void) { return 1; }
static void REALYieldToRB(void) {}

/* Answers the published names the plug-in asks for. Any other name resolves to null and fails the
 * final check: an unpublished one does not exist in the real host, and a published one the plug-in
 * starts to use must be added here. */
#define ENTRY(unused, f) \
  if (!strcmp(name, #f)) return (void*)(uintptr_t)&f;
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

static REALobject g_img;

/* An Integer or Boolean property of a live PictureXQT read through its standard getter; INT64_MIN
 * when it has none. */
static int64_t iv(REALobject o, const char* name) {
  REALproperty* p = live(o, g_pic, NULL) ? member(name) : NULL;
  int64_t v = INT64_MIN;
  if (p && p->getter == STD && !strcasecmp(p->type, "boolean")) v = *(int8_t*)(DATA(o) + p->param);
  if (p && p->getter == STD && !strcasecmp(p->type, "integer")) memcpy(&v, DATA(o) + p->param, 8);
  return v;
}

/* A new PictureXQT through "Constructor(width, height, ImageFormat)"; *exc takes what it raised. */
static REALobject make_image(int64_t w, int64_t h, int64_t f, REALobject* exc) {
  REALmethodDefinition* m = member("Constructor(w as integer, h as integer, f as integer)");
  REALobject o = obj_new(g_pic);
  if (m) ((void (*)(REALobject, int64_t, int64_t, int64_t))m->function)(o, w, h, f);
  return *exc = m ? take_exc() : NULL, o;
}

/* The class records: the tables as published, and the RGBA code read from the constants. */
static int64_t t_tables(void) {
  REALclassDefinition *d = g_pic->def, *f = g_fac->def;
  int64_t rgba = -1;
  for (size_t i = 0; i < d->constantCount; i++)
    if (!strncmp(d->constants[i].declaration, "ImageFormatRGBA = ", 18) &&
        !d->constants[i].reserved1)
      rgba = strtoll(d->constants[i].declaration + 18, NULL, 10);
  check(d->propertyCount == 48 && d->methodCount == 138 && d->constantCount == 88 &&
            d->sharedPropertyCount == 1 && d->sharedMethodCount == 5 && d->dataSize % 16 == 0 &&
            f->eventCount == 1 && f->sharedPropertyCount == 1 && f->sharedMethodCount == 2 &&
            d->mFlags == 4 && !d->superName && !d->delegates && !d->enums && !f->delegateCount,
        "PictureXQT: 48 properties, 138 methods, 88 constants, 1 + 5 shared, flags 4; "
        "PictureFactoryXQT: 1 event, 1 + 2 shared; no superclass, delegates or enums");
  check(rgba == 2, "the constant \"ImageFormatRGBA = 2\" with a null reserved1");
  return rgba;
}

static void t_construct(int64_t rgba) {
  static const struct {
    const char* n;
    int64_t v;
  } want[] = {{"Width", 5},       {"Height", 3},       {"PixelSize", 4}, {"Valid", 1},
              {"ImageFormat", 2}, {"ChannelCount", 4}, {"HasAlpha", 1},  {"IsGray", 0}};
  REALobject e;
  int ok = 1;
  g_img = make_image(5, 3, rgba, &e);
  for (size_t i = 0; i < sizeof want / sizeof *want; i++)
    if (iv(g_img, want[i].n) != want[i].v)
      ok = 0, printf("# %s = %lld\n", want[i].n, (long long)iv(g_img, want[i].n));
  check(!e && ok, "Constructor(5, 3, RGBA) raises nothing (%s); standard getters: Width 5, ...",
        exc_text(e));
  release(e);
}

static void t_exceptions(int64_t rgba) {
  REALmethodDefinition* m = member("ChannelOffset(index as integer) as integer");
  int64_t idx[] = {2, 99, -1}, off, valid;
  long before = g_pic->live, guarded = g_guarded;
  REALobject e, o;
  char want[200];
  for (int i = 0; m && i < 3; i++) {
    off = ((int64_t(*)(REALobject, int64_t))m->function)(g_img, idx[i]), e = take_exc();
    snprintf(want, sizeof want,
             "The parameter index to method ChannelOffset is too %s. Range is 0 to 3, but value "
             "is %lld.",
             idx[i] < 0 ? "small" : "big", (long long)idx[i]);
    check(i ? e && isa(e->cls, find_class("OutOfBoundsException")) && !strcmp(exc_text(e), want) &&
                  !HD(e)->err && !off
            : !e && off == 2,
          "ChannelOffset(%lld) gives %lld, raising %s \"%s\"", (long long)idx[i], (long long)off,
          e ? e->cls->name : "nothing", exc_text(e));
    release(e);
  }
  o = make_image(65536, 65536, rgba, &e), valid = iv(o, "Valid");
  release(o);
  check(e && isa(e->cls, find_class("OutOfMemoryException")) && exc_text(e)[0] && !valid &&
            g_pic->live == before && g_guarded > guarded,
        "65536 x 65536 RGBA: OutOfMemoryException through a guarded call (%s)", exc_text(e));
  release(e);
}

/* Both fills of the picture, then every row read back through "Row(index) as MemoryBlock". */
static void t_fill_and_rows(void) {
  typedef int64_t I;
  REALmethodDefinition* all =
      member("FillRectRGB(r as integer, g as integer, b as integer, a as integer)");
  REALmethodDefinition* rect = member(
      "FillRectRGB(x as integer, y as integer, w as integer, h as integer, r as integer, "
      "g as integer, b as integer, a as integer)");
  REALmethodDefinition* row = member("Row(index as integer) as memoryblock");
  REALobject e, mb;
  int ok = 1;
  if (!check(all && rect && row, "both FillRectRGB forms and Row(index) registered")) return;
  ((void (*)(REALobject, I, I, I, I))all->function)(g_img, 10, 20, 30, 40);
  ((void (*)(REALobject, I, I, I, I, I, I, I, I))rect->function)(g_img, 1, 1, 1, 1, 200, 201, 202,
                                                                 203);
  e = take_exc();
  for (int y = 0; y < 3; y++) {
    mb = ((REALobject(*)(REALobject, I))row->function)(g_img, y);
    ok &= !take_exc() && live(mb, g_mb, NULL) && HD(mb)->size >= 20 && mb->refs == 1;
    for (int i = 0; ok && i < 20; i++)
      ok &= (unsigned char)HD(mb)->p[i] == (i / 4 == 1 && y == 1 ? 200 + i % 4 : 10 * (i % 4 + 1));
    release(live(mb, g_mb, NULL) ? mb : NULL);
  }
  check(!e && ok, "both fills raise nothing (%s); Row(0..2) give MemoryBlocks that show them",
        exc_text(e));
  release(e);
}

int main(int argc, char** argv) {
  static const char* exceptions[] = {"NilObjectException", "UnsupportedOperationException",
                                     "OutOfBoundsException", "OutOfMemoryException"};
  void *lib, *entry;
  int objects = 0, strings = 0;
  int64_t rgba;
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
    ((void (*)(void* (*)(const char*)))(uintptr_t)entry)(resolver);
    g_pic = find_class("PictureXQT"), g_fac = find_class("PictureFactoryXQT");
    if (check(g_version == 13 && g_pic && g_fac && g_pic->def->version == 13 &&
                  g_fac->def->version == 13,
              "host %.2f: the plug-in registers version 13 (got %ld), then PictureXQT and "
              "PictureFactoryXQT with version-13 definitions",
              HOST_VERSION, g_version)) {
      rgba = t_tables(), t_construct(rgba), t_exceptions(rgba), t_fill_and_rows(), release(g_img);
      for (int i = 0; i < g_ncls; i++) objects += &g_cls[i] != g_str && g_cls[i].live;
      for (struct hobj* s = g_objs; s; s = s->next) strings += s->cls == g_str;
      check(!objects && !strings && !g_pending,
            "every object and string released, no exception pending");
      check(!g_unknown, "the plug-in asks the resolver only for names this host answers%s%s",
            g_unknown ? "; unknown: " : "", g_unknown ? g_unknown : "");
      check(!g_misuse, "the plug-in calls host entry points only with valid arguments");
    }
  }
  printf("%d passed, %d failed\n", g_pass, g_fail);
  return g_fail ? 1 : 0;
}
