// The application that ran before: it leaves the core in a state of its own, after a debugger would have loaded the
// flashloader, posted a command and written its entry to the program counter.
#include <stdint.h>

#include "firmware/mailbox.h"
#include "tests/firmware/board/report.h"

extern uint8_t g_buf1[];
extern uint8_t ResetISR[];
extern uint32_t g_applicationStack[];

void Start(void);
void Fault(void);
void Interrupt(void);
void Service(void);

static volatile uint32_t* const kSystemHandler = (volatile uint32_t*)0xE000ED24u;
static volatile uint32_t* const kConfiguration = (volatile uint32_t*)0xE000ED14u;
static volatile uint32_t* const kProtection = (volatile uint32_t*)0xE000ED94u;  // control, region, base, attributes
static volatile uint32_t* const kTimer = (volatile uint32_t*)0xE000E010u;

typedef union {
    uint32_t* stack;
    void (*handler)(void);
} Vector;

__attribute__((section(".vectors"), used)) static const Vector kVectors[16] = {
    {.stack = g_applicationStack},
    {.handler = Start},
    {.handler = Fault},
    {.handler = Fault},
    {.handler = Fault},
    {.handler = Fault},
    {.handler = Fault},
    {.handler = Fault},
    {.handler = Fault},
    {.handler = Fault},
    {.handler = Fault},
    {.handler = Service},
    {.handler = Fault},
    {.handler = Fault},
    {.handler = Fault},
    {.handler = Interrupt},
};

// As a debugger does: nothing is passed on but the program counter.
static void LetFlashloaderRun(void) { __asm__ volatile("bx %0" ::"r"((uint32_t)ResetISR | 1u)); }

static void ReportSituation(const char* text) { ReportNumber(text, g_fault); }

void Fault(void) {
    if (SITUATION == IN_HARD_FAULT) {
        LetFlashloaderRun();
    }
    ReportSituation("the application's fault handler, fault");
}

// Where interrupts cannot be masked, the application's own goes on, and looks what has come of it.
void Interrupt(void) {
    static uint32_t count;
    if (++count == 20) {
        ReportSituation("the application's interrupt, fault");
    }
}

void Service(void) {
    __asm__ volatile("cpsid f");
    LetFlashloaderRun();
}

static void StartTimer(void) {
    kTimer[1] = 25000;
    kTimer[2] = 0;
    kTimer[0] = 7;
}

// All memory as it is, and SRAM with these attributes.
static void ProtectSram(uint32_t attributes) {
    kProtection[1] = 0;
    kProtection[2] = 0;
    kProtection[3] = 0x0300003F;  // all of memory, full access
    kProtection[1] = 1;
    kProtection[2] = 0x20000000;
    kProtection[3] = attributes | 0x2B;  // 4 MiB
    kProtection[0] = 1;
    __asm__ volatile("dsb \n isb");
}

void Start(void) {
    *kSystemHandler = 0;
    for (uint32_t i = 0; i < 9; ++i) {
        g_buf1[i] = (uint8_t)(0x31 + i);
    }
    g_cfg[0].address = 0x1002;
    g_cfg[0].length = 9;
    g_cfg[0].command = 3;
    g_cfg[0].status = kStatusNotDone;
    switch (SITUATION) {
        case UNALIGNED_TRAP:
            *kConfiguration |= 0x18;
            break;
        case SRAM_READ_ONLY:
            ProtectSram(0x06000000);
            break;
        case SRAM_NOT_EXECUTABLE:
            ProtectSram(0x13000000);
            break;
        case UNPRIVILEGED:
            StartTimer();
            __asm__ volatile("msr control, %0 \n isb" ::"r"(1));
            break;
        case ON_PROCESS_STACK:
            __asm__ volatile("msr psp, %0 \n msr control, %1 \n isb" ::"r"(0x10), "r"(2));
            break;
        case WITH_INTERRUPTS:
            StartTimer();
            break;
        case IN_HANDLER:
            __asm__ volatile("svc 0");
            break;
        case IN_HARD_FAULT:
            __asm__ volatile("udf #0");
            break;
        case FAULTS_MASKED:
            __asm__ volatile("cpsid f \n msr basepri, %0" ::"r"(0x20));
            break;
        default:
            break;
    }
    LetFlashloaderRun();
}
