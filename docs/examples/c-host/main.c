/* A host in C: the two interfaces are tables of functions, and this is all that it knows of them. Its target is an
 * array that stands for SRAM, so it needs a module that plays a chip, as flashdevice-check does.
 *
 * Usage: c-host MODULE */
#include <dlfcn.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>

typedef struct host host_t;
typedef struct device device_t;

enum {
    SRAM = 0x20000000,
    SRAM_BYTES = 0x8000,
    BUFFER_1 = SRAM + 0x2000,
    BUFFER_2 = SRAM + 0x4000,
    BLOCKS = SRAM + 0x200
};

/* An object is a pointer to its table; a table is a list of functions, and each gets the object first. */
struct host {
    void (*const* table)(void);
    uint8_t sram[SRAM_BYTES];
    int reportedErrors;
};

typedef const char* (*initialize_t)(device_t*, uint8_t* ready, const char** operations);
typedef const char* (*write_t)(device_t*, const unsigned char* data, uint64_t address, uint32_t lengthBytes);
typedef const char* (*execute_t)(device_t*, const char* operation);
typedef const char* (*notify_t)(device_t*, int64_t phase);
typedef const char* (*release_t)(device_t*);

struct device {
    void (*const* table)(void);
};

typedef const char* (*factory_t)(const char*, const char*, const char*, host_t*, device_t**);

/* ---- Properties: a small table with room for what the plug-in publishes */

enum { PROPERTIES = 32, TEXT_BYTES = 96 };

static struct {
    char name[TEXT_BYTES];
    char value[TEXT_BYTES];
} properties[PROPERTIES] = {
    {"DeviceInfoRevisionTranslation", "0:1.0:A:1:1.1:B"},
    {"DeviceFlashloaderFile", "flashloader.elf"},
    {"FlashEraseSetting", "Necessary Sectors Only"},
    {"FlashPageToggle", "0"},
    {"CrcVerify", "1"},
    {"StandaloneEraseSpecificText", "0-1"},
    {"DeviceBlePrimaryLoc", "0x50001208:6"},
};

static const char* get_property(host_t* host, const char* name) {
    (void)host;
    for (int i = 0; i < PROPERTIES; ++i) {
        if (properties[i].name[0] != '\0' && strcmp(properties[i].name, name) == 0) {
            return properties[i].value;
        }
    }
    return NULL;
}

static const char* set_property(host_t* host, const char* name, const char* value) {
    (void)host;
    for (int i = 0; i < PROPERTIES; ++i) {
        if (properties[i].name[0] == '\0' || strcmp(properties[i].name, name) == 0) {
            snprintf(properties[i].name, TEXT_BYTES, "%s", name);
            snprintf(properties[i].value, TEXT_BYTES, "%s", value);
            return NULL;
        }
    }
    return "there is no room for another property";
}

/* ---- The image: nothing is loaded, as nothing would run it */

static const char* load_program(host_t* host, const char* file, const char* options, const char* directory) {
    (void)host, (void)options;
    return file[0] != '\0' && strstr(directory, "..\\..\\arm\\") != NULL ? NULL : "there is no such image";
}

static const char* look_up_symbol(host_t* host, const char* name, uint64_t* value) {
    static const struct {
        const char* name;
        uint64_t value;
    } symbols[] = {{"ResetISR", SRAM + 0x101},
                   {"g_cfg", BLOCKS},
                   {"g_currBuf", SRAM + 0x300},
                   {"g_buf1", BUFFER_1},
                   {"g_buf2", BUFFER_2}};
    (void)host;
    for (size_t i = 0; i < sizeof symbols / sizeof symbols[0]; ++i) {
        if (strcmp(symbols[i].name, name) == 0) {
            *value = symbols[i].value;
            return NULL;
        }
    }
    return "the image has no such symbol";
}

/* ---- The target */

static const char* done(host_t* host) {
    (void)host;
    return NULL;
}

static uint8_t* sram_at(host_t* host, uint64_t address, size_t bytes) {
    const int isInside = address >= SRAM && bytes <= SRAM_BYTES && address - SRAM <= SRAM_BYTES - bytes;
    return isInside ? host->sram + (address - SRAM) : NULL;
}

static const char* read_memory(host_t* host, void* buffer, size_t count, uint64_t address, uint16_t page, size_t size) {
    (void)page;
    const uint8_t* from = sram_at(host, address, count * size);
    if (from == NULL) {
        return "there is only SRAM";
    }
    memcpy(buffer, from, count * size);
    return NULL;
}

static const char* write_memory(host_t* host, const void* buffer, size_t count, uint64_t address, uint16_t page,
                                size_t size) {
    (void)page;
    uint8_t* to = sram_at(host, address, count * size);
    if (to == NULL) {
        return "there is only SRAM";
    }
    memcpy(to, buffer, count * size);
    return NULL;
}

static const char* read_register(host_t* host, uint32_t number, uint64_t* value) {
    (void)host;
    if (number != 1) {
        return "there is no such register";
    }
    *value = 0x10000001;
    return NULL;
}

static const char* write_register(host_t* host, uint32_t number, uint64_t value) {
    (void)host, (void)value;
    return number == 527 ? NULL : "there is no such register";
}

static const char* wait_milliseconds(host_t* host, uint32_t milliseconds) {
    (void)host, (void)milliseconds; /* nothing is in work that could take time */
    return NULL;
}

static const char* select_core(host_t* host, const char* name) {
    (void)host;
    return strcmp(name, "Sluice") == 0 || strcmp(name, "Cortex") == 0 ? NULL : "there is no such core";
}

/* ---- Texts */

static const char* report_error(host_t* host, const char* text) {
    ++host->reportedErrors;
    fprintf(stderr, "%s\n", text);
    return NULL;
}

static const char* print_message(host_t* host, const char* text) {
    (void)host;
    printf("%s\n", text);
    return NULL;
}

static const char* get_directory_path(host_t* host) {
    (void)host;
    return "tools\\bin\\debug\\";
}

#define SLOT(function) ((void (*)(void))(function))

/* Slots that are never called stay empty. */
static void (*const host_table[28])(void) = {
    [0] = SLOT(get_property),
    [1] = SLOT(set_property),
    [2] = SLOT(load_program),
    [3] = SLOT(look_up_symbol),
    [4] = SLOT(done),
    [6] = SLOT(done),
    [10] = SLOT(read_memory),
    [11] = SLOT(write_memory),
    [13] = SLOT(read_register),
    [14] = SLOT(write_register),
    [19] = SLOT(report_error),
    [20] = SLOT(print_message),
    [21] = SLOT(get_directory_path),
    [22] = SLOT(wait_milliseconds),
    [27] = SLOT(select_core),
};

/* ---- The work */

static int succeeds(const char* what, const char* error) {
    if (error != NULL) {
        fprintf(stderr, "%s failed: %s\n", what, error);
    }
    return error == NULL;
}

static int program(device_t* device) {
    static unsigned char data[2 * 8192];
    for (size_t i = 0; i < sizeof data; ++i) {
        data[i] = (unsigned char)(i * 7);
    }
    const notify_t notify = (notify_t)device->table[6];
    const write_t write = (write_t)device->table[4];
    if (!succeeds("Starting the load", notify(device, 1))) {
        return 0;
    }
    return succeeds("Writing", write(device, data, 0, sizeof data)) && succeeds("Ending the load", notify(device, 2));
}

static int work(device_t* device) {
    uint8_t ready = 0;
    const char* operations = NULL;
    const execute_t execute = (execute_t)device->table[5];
    return succeeds("Initialising", ((initialize_t)device->table[0])(device, &ready, &operations)) && ready != 0 &&
           program(device) && succeeds("Checking for blank flash", execute(device, "BlankCheck")) &&
           succeeds("Erasing", execute(device, "EraseSectors")) && succeeds("Erasing all", execute(device, "Erase"));
}

int main(int argumentCount, char** arguments) {
    void* module = argumentCount == 2 ? dlopen(arguments[1], RTLD_NOW) : NULL;
    void* symbol = module == NULL ? NULL : dlsym(module, "CreateFlashDevice2");
    if (symbol == NULL) {
        fprintf(stderr, "%s\nUsage: c-host MODULE, a plug-in that plays a chip\n",
                argumentCount == 2 ? dlerror() : "no module");
        return 2;
    }
    factory_t factory;
    memcpy(&factory, &symbol, sizeof factory); /* C has no cast from an object to a function */
    static host_t host = {.table = host_table};
    device_t* device = NULL;
    if (!succeeds("Making the device", factory("LumoF2F352", "", "", &host, &device))) {
        return 1;
    }
    const int isDone = work(device) && host.reportedErrors == 0;
    ((release_t)device->table[8])(device);
    dlclose(module);
    printf("%s\n", isDone ? "done" : "failed");
    return isDone ? 0 : 1;
}
