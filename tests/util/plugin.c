// SPDX-License-Identifier: MIT
/* The plug-in that the tests load. MissingAtRunTime is defined nowhere: only lazy binding opens this library. */
extern int MissingAtRunTime(void);

__attribute__((visibility("default"))) int PluginAnswer(void) { return 42; }
__attribute__((visibility("default"))) int PluginNeverCalled(void) { return MissingAtRunTime(); }

/* A symbol whose value is null. */
__asm__(".globl PluginNull\n\t.set PluginNull, 0");
