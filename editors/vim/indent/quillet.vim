" Indents what lies between a call's brackets. Lines that begin with "@" or "#" mean something only at the very beginning,
" and so do the rows of `config`.
if exists('b:did_indent')
  finish
endif
let b:did_indent = 1

setlocal indentexpr=QuilletIndent(v:lnum)
setlocal indentkeys=0],0#,!^F,o,O
setlocal nosmartindent
let b:undo_indent = 'setlocal indentexpr< indentkeys< smartindent<'

if exists('*QuilletIndent')
  finish
endif

" How many more brackets the line opens than it closes. "^" protects a bracket, backticks protect what is between them.
function! s:Opened(line) abort
  let line = substitute(a:line, '`[^`]*`', '', 'g')
  let line = substitute(line, '\^[][^;]', '', 'g')
  return strlen(substitute(line, '[^[]', '', 'g')) - strlen(substitute(line, '[^]]', '', 'g'))
endfunction

function! QuilletIndent(number) abort
  let line = getline(a:number)
  let before = prevnonblank(a:number - 1)
  while before > 0 && getline(before) =~# '^#'
    let before = prevnonblank(before - 1)
  endwhile
  let above = getline(before)
  if line =~# '^[@#]' || before == 0 || above =~# '^@' || above =~# '\^config\[[^]]*$'
    return 0
  endif
  " A "]" at the beginning of a line has ended its level for that line already.
  let closed = strlen(matchstr(line, '^\s*\zs]\+'))
  let closed_above = strlen(matchstr(above, '^\s*\zs]\+'))
  let level = s:Opened(above) + closed_above - closed
  return max([0, indent(before) + level * shiftwidth()])
endfunction
