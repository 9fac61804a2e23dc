# Run by CPack on the staged files of all packages: what a package has and an installed tree has not.
set(runtime ${CPACK_TEMPORARY_DIRECTORY}/runtime/usr)
set(development ${CPACK_TEMPORARY_DIRECTORY}/development/usr)
set(desktop ${CPACK_TEMPORARY_DIRECTORY}/desktop/usr) # not in every build

function(run)
  execute_process(COMMAND ${ARGN} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

# As debhelper does.
file(GLOB programs ${runtime}/bin/* ${desktop}/bin/* ${runtime}/${CPACK_TESKER_LIBEXECDIR}/tesker/*)
run(strip --remove-section=.comment ${programs})
run(strip --strip-debug --remove-section=.comment --enable-deterministic-archives
  ${development}/${CPACK_TESKER_LIBDIR}/libtesker.a)

if(CPACK_GENERATOR STREQUAL "DEB")
  set(all_documents ${runtime}/share/doc/tesker ${development}/share/doc/libtesker-dev)
  if(EXISTS ${desktop})
    list(APPEND all_documents ${desktop}/share/doc/tesker-desktop)
  endif()
  file(GLOB functions ${runtime}/share/zsh/site-functions ${desktop}/share/zsh/site-functions)
  foreach(folder ${functions})
    file(RENAME ${folder} ${folder}/../vendor-completions)
  endforeach()
  file(GLOB pages ${runtime}/share/man/man*/*.[158] ${desktop}/share/man/man*/*.[158])
  run(gzip -9n ${pages})
  file(MAKE_DIRECTORY ${runtime}/share/lintian/overrides)
  configure_file(${CPACK_TESKER_SOURCE}/debian/tesker.lintian-overrides
    ${runtime}/share/lintian/overrides/tesker COPYONLY NO_SOURCE_PERMISSIONS)
  foreach(documents ${all_documents})
    file(COPY ${CPACK_TESKER_SOURCE}/debian/copyright ${CPACK_TESKER_SOURCE}/debian/changelog
      DESTINATION ${documents} FILE_PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
    run(gzip -9n ${documents}/changelog)
  endforeach()
endif()

# Whatever the umask is.
run(find ${CPACK_TEMPORARY_DIRECTORY} -type d -exec chmod 755 {} +)

# What was installed just now is as old as the commit.
if(DEFINED ENV{SOURCE_DATE_EPOCH})
  run(find ${CPACK_TEMPORARY_DIRECTORY} -exec touch --no-dereference --date=@$ENV{SOURCE_DATE_EPOCH} {} +)
endif()
