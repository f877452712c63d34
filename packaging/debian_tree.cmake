# What Debian has in other places, or compressed, than an installation from source.
set(usr "${CPACK_TEMPORARY_DIRECTORY}/usr")
file(MAKE_DIRECTORY "${usr}/share/zsh")
file(RENAME "${usr}/share/zsh/site-functions" "${usr}/share/zsh/vendor-completions")
file(RENAME "${usr}/share/doc/tovrin/CHANGELOG.md" "${usr}/share/doc/tovrin/changelog")
# Without the time, so that the same files make the same package.
execute_process(COMMAND gzip -9n "${usr}/share/doc/tovrin/changelog" "${usr}/share/man/man1/tovrin.1"
                        "${usr}/share/man/man8/mount.tovrin.8" COMMAND_ERROR_IS_FATAL ANY)
