# One object library per processor level, each from the same templated sources.
set(MLH_KERNEL_OBJECTS "")
