#include "loader.h"

#include "lsx.h"

#include <QCoreApplication>

#include <dlfcn.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <mutex>

namespace {

struct Table {
#define LSX_POINTER(name, params, args) lsxStatus(*name) params = nullptr;
    LSX_OPERATIONS(LSX_POINTER)
#undef LSX_POINTER
    lsxStatus(*lsxDebugFormat) LSX_DEBUG_FORMAT_PARAMS = nullptr;
};

// The simulated camera's scene functions, bound when present.
using GetSceneFn = lsxStatus (*)(const char*, int32_t*, double*, double*, double*);
using SetSceneFn = lsxStatus (*)(const char*, int32_t, double, double, double);
struct SceneTable {
    GetSceneFn get = nullptr;
    SetSceneFn set = nullptr;
};

Table g_table;
SceneTable g_scene;
void* g_library = nullptr;
std::string g_path;

// An operator's text of this module (a source text marked with QT_TRANSLATE_NOOP in the context
// "Loader") in the language installed, its values put in at once, so that a "%2" in a path stays.
template <typename... Values>
std::string message(const char* text, const Values&... values)
{
    const QString translated = QCoreApplication::translate("Loader", text);
    if constexpr (sizeof...(Values) == 0)
        return translated.toStdString();
    else
        return translated.arg(QString::fromStdString(values)...).toStdString();
}

// Answers of an unbound operation: no device; a refresh finds no camera.
template <typename... A>
lsxStatus notConnected(A...)
{
    return LSX_ERR_NOT_CONNECTED;
}
lsxStatus notConnected(int32_t* count)
{
    if (count) *count = 0;
    return LSX_ERR_NOT_CONNECTED;
}

}  // namespace

namespace lsx {

BindResult bindLibrary(const std::string& path)
{
    unbindLibrary();
    BindResult result;
    result.path = path;

    dlerror();
    void* lib = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!lib) {
        const char* why = dlerror();
        const std::string reason = why ? std::string(why) : message(QT_TRANSLATE_NOOP("Loader", "未知原因"));
        result.message = message(QT_TRANSLATE_NOOP("Loader", "无法加载相机库 \"%1\"：%2"), path, reason);
        return result;
    }

    Table table;
    std::string missing;
    auto bindOne = [&](auto& slot, const char* name) {
        if (!missing.empty()) return;
        void* sym = dlsym(lib, name);
        if (!sym) {
            missing = name;
            return;
        }
        slot = reinterpret_cast<std::remove_reference_t<decltype(slot)>>(sym);
    };
#define LSX_BIND(name, params, args) bindOne(table.name, #name);
    LSX_OPERATIONS(LSX_BIND)
#undef LSX_BIND
    bindOne(table.lsxDebugFormat, "lsxDebugFormat");

    if (!missing.empty()) {
        dlclose(lib);
        result.missingSymbol = missing;
        result.message =
            message(QT_TRANSLATE_NOOP("Loader", "相机库 \"%1\" 缺少函数 %2，无法使用该相机库"), path, missing);
        return result;
    }

    g_table = table;
    SceneTable scene{reinterpret_cast<GetSceneFn>(dlsym(lib, "lsxSimGetScene")),
                     reinterpret_cast<SetSceneFn>(dlsym(lib, "lsxSimSetScene"))};
    if (scene.get && scene.set) g_scene = scene;
    g_library = lib;
    g_path = path;
    result.ok = true;
    return result;
}

void unbindLibrary()
{
    g_table = Table{};
    g_scene = SceneTable{};
    if (g_library) dlclose(g_library);
    g_library = nullptr;
    g_path.clear();
}

bool isBound()
{
    return g_library != nullptr;
}

std::string boundLibraryPath()
{
    return g_path;
}

bool hasSceneControl()
{
    return g_scene.get != nullptr;
}

int32_t getScene(const std::string& camera, Scene& scene)
{
    if (!g_scene.get) return LSX_ERR_NOT_SUPPORTED;
    return g_scene.get(camera.c_str(), &scene.kind, &scene.level, &scene.slope, &scene.falloff);
}

int32_t setScene(const std::string& camera, const Scene& scene)
{
    if (!g_scene.set) return LSX_ERR_NOT_SUPPORTED;
    return g_scene.set(camera.c_str(), scene.kind, scene.level, scene.slope, scene.falloff);
}

std::string simulatorFileName()
{
    return "liblsxsim.so";
}

std::string chooseLibrary(const std::string& sdkOption, const std::string& exeDir)
{
    if (!sdkOption.empty()) return sdkOption;
    const char* env = std::getenv("LSX_LIBRARY");
    if (env && *env) return env;
    return (exeDir.empty() ? std::string(".") : exeDir) + "/" + simulatorFileName();
}

std::string emptySdkNote(bool sdkOptionGiven, const std::string& sdkOption, const std::string& chosen)
{
    if (!sdkOptionGiven || !sdkOption.empty()) return std::string();
    return message(QT_TRANSLATE_NOOP("Loader", "选项 --sdk 没有给出相机库的路径，使用的是 \"%1\"。"), chosen);
}

}  // namespace lsx

// ---- The operations under their own names, forwarded to the bound library ----
extern "C" {

#define LSX_FORWARD(name, params, args)                              \
    lsxStatus name params                                            \
    {                                                                \
        return g_table.name ? g_table.name args : notConnected args; \
    }
LSX_OPERATIONS(LSX_FORWARD)
#undef LSX_FORWARD

lsxStatus lsxDebugFormat(lsxHandle h, int32_t level, const char* tag, const char* format, ...)
{
    if (!g_table.lsxDebugFormat) return LSX_ERR_NOT_CONNECTED;
    char text[2048];
    va_list ap;
    va_start(ap, format);
    std::vsnprintf(text, sizeof text, format ? format : "", ap);
    va_end(ap);
    return g_table.lsxDebugFormat(h, level, tag, "%s", text);
}

}  // extern "C"
