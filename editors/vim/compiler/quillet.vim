" quillet-dev check: `:make %` for a page, `:make .` for a folder.
if exists('current_compiler')
  finish
endif
let current_compiler = 'quillet'

if exists(':CompilerSet') != 2
  command -nargs=* CompilerSet setlocal <args>
endif
CompilerSet makeprg=quillet-dev\ check\ --format\ gcc\ $*
CompilerSet errorformat=%f:%l:%c:\ %trror:\ %m,%f:%l:%c:\ %tarning:\ %m,%-G%.%#
