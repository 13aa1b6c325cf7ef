# The programs carry only the code they call: every function and datum in a section of
# its own; the linker drops the sections nothing reaches and the libraries nothing
# calls. The resident agent maps less of itself, and every program is smaller on disk.
add_compile_options(-ffunction-sections -fdata-sections)
add_link_options(-Wl,--gc-sections -Wl,--as-needed)
