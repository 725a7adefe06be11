-- The discussion board: messages, each below the one that it answers (parent), or the first of a thread (0).

create table messages (
  id int unsigned not null auto_increment primary key,
  parent int unsigned not null,
  subject varchar(80) not null,
  author varchar(40) not null,
  text text not null,
  written datetime not null,
  key (parent)
) default charset utf8mb4;

-- The messages as the board shows them: p0 is the first message of the thread, deep says how far below it a
-- message stands, and by path a message comes before its replies. It has room for a depth of 250.
create sql security invoker view board as
  with recursive tree as (
    select messages.*, id as p0, 1 as deep, cast(lpad(id, 8, '0') as char(2000)) as path
      from messages where parent = 0
    union all
    select messages.*, tree.p0, tree.deep + 1, concat(tree.path, lpad(messages.id, 8, '0'))
      from messages join tree on messages.parent = tree.id
  )
  select * from tree;

insert into messages (id, parent, subject, author, text, written) values
  (1, 0, 'Which ink for parish registers?', 'Clara', 'Our register is to last another two hundred years. Which ink do you fill it with?\n\nThe one we have now turns grey.', '2026-02-20 09:30:00'),
  (2, 1, 'Iron gall', 'Ann at the shop', 'Iron gall, always: blue on the day, black in a year, and it does not come off again.', '2026-02-20 11:05:00'),
  (3, 2, 'Re: Iron gall', 'Tomáš', 'But rinse the pen every evening. It eats steel.', '2026-02-20 18:44:00'),
  (4, 3, 'Re: Iron gall', 'Ann at the shop', '> But rinse the pen every evening.\n\nOr take a quill. It has nothing to rust.', '2026-02-21 09:10:00'),
  (5, 2, 'Which paper with it?', 'Clara', 'Is the laid paper strong enough for it?', '2026-02-21 12:00:00'),
  (6, 1, 'Pencil', 'Hugo', 'Graphite does not fade at all. Nobody believes me.', '2026-02-22 20:15:00'),
  (7, 0, 'A quill for the left hand', 'Mira', 'From which wing does it have to come?', '2026-03-01 14:20:00'),
  (8, 7, 'From the right one', 'Ann at the shop', 'Feathers of the right wing bend away from a left-handed writer''s eye. We cut them on request.', '2026-03-01 15:02:00'),
  (9, 0, 'Show your first bindings!', 'Hugo', 'Mine fell apart on the bus. Yours?', '2026-03-04 19:00:00');
