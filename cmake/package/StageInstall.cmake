# Installs the build tree BUILD_DIR into a fresh staging prefix STAGE (under
# WORK_DIR, which the package checks start empty), as a user's install would.
#   cmake -DBUILD_DIR=... -DWORK_DIR=... -DSTAGE=... -P StageInstall.cmake
file(REMOVE_RECURSE ${WORK_DIR})
file(MAKE_DIRECTORY ${WORK_DIR})
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${STAGE}
                OUTPUT_FILE ${WORK_DIR}/install.log ERROR_FILE ${WORK_DIR}/install.log
                RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  file(READ ${WORK_DIR}/install.log log)
  message(FATAL_ERROR "${log}package-check: FAILED: cmake --install into ${STAGE}")
endif()
message("package-check: ok: installed into ${STAGE}")
