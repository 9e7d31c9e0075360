# Run by CPack when the components stand staged, each in a directory of its name, and before they are packed.
# Makes of them what Debian's policy asks for, and finds what the binaries depend on. CPack's own search for
# dependencies is not used: with it come maintainer scripts that call ldconfig, where a trigger does.
set(components ${CPACK_COMPONENTS_ALL})

function(run)
  execute_process(COMMAND ${ARGV} WORKING_DIRECTORY ${CPACK_TEMPORARY_DIRECTORY}
    OUTPUT_VARIABLE output ERROR_VARIABLE errors RESULT_VARIABLE result)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "${ARGV}: ${errors}")
  endif()
  set(output ${output} PARENT_SCOPE)
endfunction()

foreach(component IN LISTS components)
  set(root ${CPACK_TEMPORARY_DIRECTORY}/${component}${CPACK_PACKAGING_INSTALL_PREFIX})
  set(doc_dir ${root}/share/doc/${component})
  file(COPY ${CPACK_MIM_DEBIAN_DIR}/copyright DESTINATION ${doc_dir}
    FILE_PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
  file(COPY ${CPACK_MIM_CHANGELOG} DESTINATION ${doc_dir}
    FILE_PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)

  file(GLOB pages ${root}/share/man/man?/*)
  run(gzip --best --no-name ${doc_dir}/changelog ${pages})

  # The libraries stand where the system looks for them.
  file(GLOB binaries ${root}/bin/* ${root}/lib/*/*.so.*)
  foreach(binary IN LISTS binaries)
    if(NOT IS_SYMLINK ${binary})
      file(RPATH_REMOVE FILE ${binary})
      run(${CPACK_MIM_STRIP} --strip-unneeded --remove-section=.comment --remove-section=.note ${binary})
      list(APPEND ${component}_binaries ${binary})
    endif()
  endforeach()
endforeach()

# dpkg-shlibdeps wants a source package's control file, and finds libkv and libmim in the staged libmim1.
file(WRITE ${CPACK_TEMPORARY_DIRECTORY}/debian/control "Source: mim\n\nPackage: libmim1\nArchitecture: any\n")
file(GLOB private_dir ${CPACK_TEMPORARY_DIRECTORY}/libmim1${CPACK_PACKAGING_INSTALL_PREFIX}/lib/*)
foreach(component IN LISTS components)
  if(${component}_binaries)
    run(${CPACK_MIM_SHLIBDEPS} -O -l${private_dir} --ignore-missing-info -xlibmim1 ${${component}_binaries})
    string(REGEX REPLACE "^shlibs:Depends=|\n" "" found ${output})
    string(TOUPPER ${component} name)
    set(depends CPACK_DEBIAN_${name}_PACKAGE_DEPENDS)
    if(${depends})
      string(PREPEND found "${${depends}}, ")
    endif()
    set(${depends} ${found})
  endif()
endforeach()
file(REMOVE_RECURSE ${CPACK_TEMPORARY_DIRECTORY}/debian)
