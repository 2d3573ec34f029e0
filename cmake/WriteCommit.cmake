# Writes the current commit into a source file: cmake -D OUTPUT=... -D SOURCE=... -P WriteCommit.cmake
# If the sources are not in their own repository, as in an archive, the commit is an empty string.
find_package(Git QUIET)
set(commit "")
if(GIT_FOUND AND EXISTS ${SOURCE}/.git)
    execute_process(COMMAND ${GIT_EXECUTABLE} -C ${SOURCE} describe --always --dirty --abbrev=12 --exclude=*
        OUTPUT_VARIABLE commit OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
endif()
# Only if it differs, so that the same commit causes no rebuild.
file(CONFIGURE OUTPUT ${OUTPUT} CONTENT "#include \"Commit.h\"

namespace corvane {

const char* commit()
{
    return \"${commit}\";
}

}  // namespace corvane
")
