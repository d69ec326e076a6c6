/* A pointer device for a headless wlroots session: it creates one virtual pointer and holds it
 * until killed. A seat without a pointer gives no client a pointer, so the compositor's own
 * cursor commands (`seat - cursor press button1`) would reach nobody; a person's desktop has a
 * mouse. Prints "ready" once the device exists.
 *
 * Written against libwayland-client's stable ABI alone, with the two interfaces of
 * wlr-virtual-pointer-unstable-v1 spelled out here, since no protocol headers are installed. */
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

struct wl_display;
struct wl_proxy;
struct wl_interface;
struct wl_message {
    const char* name;
    const char* signature;
    const struct wl_interface** types;
};
struct wl_interface {
    const char* name;
    int version;
    int method_count;
    const struct wl_message* methods;
    int event_count;
    const struct wl_message* events;
};

extern const struct wl_interface wl_registry_interface;
extern const struct wl_interface wl_seat_interface;
struct wl_display* wl_display_connect(const char* name);
int wl_display_roundtrip(struct wl_display* display);
struct wl_proxy* wl_proxy_marshal_constructor(struct wl_proxy* proxy, uint32_t opcode,
                                              const struct wl_interface* interface, ...);
struct wl_proxy* wl_proxy_marshal_constructor_versioned(struct wl_proxy* proxy, uint32_t opcode,
                                                        const struct wl_interface* interface,
                                                        uint32_t version, ...);
int wl_proxy_add_listener(struct wl_proxy* proxy, void (**implementation)(void), void* data);

static const struct wl_interface pointer_interface;
static const struct wl_interface* no_types[] = {NULL, NULL, NULL, NULL, NULL};
static const struct wl_interface* create_types[] = {&wl_seat_interface, &pointer_interface};
static const struct wl_message manager_requests[] = {
    {"create_virtual_pointer", "?on", create_types},
    {"destroy", "", no_types},
};
static const struct wl_interface manager_interface = {
    "zwlr_virtual_pointer_manager_v1", 1, 2, manager_requests, 0, NULL};
static const struct wl_message pointer_requests[] = {
    {"motion", "uff", no_types},      {"motion_absolute", "uuuuu", no_types},
    {"button", "uuu", no_types},      {"axis", "uuf", no_types},
    {"frame", "", no_types},          {"axis_source", "u", no_types},
    {"axis_stop", "uu", no_types},    {"axis_discrete", "uufi", no_types},
    {"destroy", "", no_types},
};
static const struct wl_interface pointer_interface = {"zwlr_virtual_pointer_v1", 1, 9,
                                                      pointer_requests, 0, NULL};

static struct wl_proxy* manager;

static void global(void* data, struct wl_proxy* registry, uint32_t name, const char* interface,
                   uint32_t version) {
    (void)data;
    (void)version;
    if (strcmp(interface, manager_interface.name) == 0)
        manager = wl_proxy_marshal_constructor_versioned(registry, 0, &manager_interface, 1, name,
                                                         manager_interface.name, 1, NULL);
}

static void global_remove(void* data, struct wl_proxy* registry, uint32_t name) {
    (void)data;
    (void)registry;
    (void)name;
}

int main(void) {
    struct wl_display* display = wl_display_connect(NULL);
    if (!display) {
        fprintf(stderr, "virtual_pointer: no Wayland display\n");
        return 1;
    }
    struct wl_proxy* registry = wl_proxy_marshal_constructor((struct wl_proxy*)display, 1,
                                                             &wl_registry_interface, NULL);
    void (*listener[])(void) = {(void (*)(void))global, (void (*)(void))global_remove};
    wl_proxy_add_listener(registry, listener, NULL);
    wl_display_roundtrip(display);
    if (!manager) {
        fprintf(stderr, "virtual_pointer: the compositor offers no virtual pointers\n");
        return 1;
    }
    wl_proxy_marshal_constructor(manager, 0, &pointer_interface, NULL, NULL);
    if (wl_display_roundtrip(display) < 0)
        return 1;
    printf("ready\n");
    fflush(stdout);
    for (;;)
        pause();
}
