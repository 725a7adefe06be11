" Writes what the syntax says about each character of a call's marks: lines "offset mark" as the program `calls` does.
let marks = {'quilletCaret': '^', 'quilletInnerCaret': '^', 'quilletBracket': '', 'quilletSeparator': ';'}
let found = []
for file in readfile($QUILLET_FILES)
  execute 'edit ' . fnameescape(file)
  call add(found, file)
  set filetype=quillet
  for number in range(1, line('$'))
    let line = getline(number)
    let start = line2byte(number) - 1
    for column in range(strlen(line))
      if line[column] =~# '[][;^]'
        let group = synIDattr(synID(number, column + 1, 0), 'name')
        if has_key(marks, group) && (marks[group] ==# '' || marks[group] ==# line[column])
          call add(found, (start + column) . ' ' . line[column])
        endif
      endif
    endfor
  endfor
endfor
call writefile(found, $QUILLET_FOUND)
quitall!
