# Run by CPack on the staged files of all packages: what a package has and an installed tree has not.
set(runtime ${CPACK_TEMPORARY_DIRECTORY}/runtime/usr)
set(development ${CPACK_TEMPORARY_DIRECTORY}/development/usr)

function(run)
  execute_process(COMMAND ${ARGN} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

run(strip --strip-debug --enable-deterministic-archives ${development}/${CPACK_TESKER_LIBDIR}/libtesker.a)

if(CPACK_GENERATOR STREQUAL "DEB")
  file(RENAME ${runtime}/share/zsh/site-functions ${runtime}/share/zsh/vendor-completions)
  file(GLOB pages ${runtime}/share/man/man*/*.[158])
  run(gzip -9n ${pages})
  file(INSTALL ${CPACK_TESKER_SOURCE}/debian/tesker.lintian-overrides
    DESTINATION ${runtime}/share/lintian/overrides RENAME tesker)
  foreach(documents ${runtime}/share/doc/tesker ${development}/share/doc/libtesker-dev)
    file(COPY ${CPACK_TESKER_SOURCE}/debian/copyright ${CPACK_TESKER_SOURCE}/debian/changelog
      DESTINATION ${documents} FILE_PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
    run(gzip -9n ${documents}/changelog)
  endforeach()
endif()

# What was installed just now is as old as the commit.
if(DEFINED ENV{SOURCE_DATE_EPOCH})
  run(find ${CPACK_TEMPORARY_DIRECTORY} -exec touch --no-dereference --date=@$ENV{SOURCE_DATE_EPOCH} {} +)
endif()
