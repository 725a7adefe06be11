" Settings for pages and macro files.
if exists('b:did_ftplugin')
  finish
endif
let b:did_ftplugin = 1

setlocal comments=b:# commentstring=#%s
setlocal matchpairs+=[:]
setlocal define=^@
" What `quillet-dev check` finds: `:make %` for this file, `:make .` for the folder.
compiler quillet

let b:undo_ftplugin = 'setlocal comments< commentstring< matchpairs< define<'
