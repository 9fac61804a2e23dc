# Run by CPack on the staged files: what Debian has otherwise than other systems.
set(usr ${CPACK_TEMPORARY_DIRECTORY}/usr)

file(RENAME ${usr}/share/zsh/site-functions ${usr}/share/zsh/vendor-completions)

file(GLOB pages ${usr}/share/man/man*/*.[158])
execute_process(COMMAND gzip -9n ${pages} COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND strip --strip-debug ${usr}/lib/libtesker.a COMMAND_ERROR_IS_FATAL ANY)
