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

-- Written in the last two weeks, so that the board is alive whenever it is set up.
insert into messages (id, parent, subject, author, text, written) values
  (1, 0, 'Which ink for parish registers?', 'Clara', 'Our register is to last another two hundred years. Which ink do you fill it with?\n\nThe one we have now turns grey.', current_date - interval 13 day + interval '09:30' hour_minute),
  (2, 1, 'Iron gall', 'Ann at the shop', 'Iron gall, always: blue on the day, black in a year, and it does not come off again.', current_date - interval 13 day + interval '11:05' hour_minute),
  (3, 2, 'Re: Iron gall', 'Tomáš', 'But rinse the pen every evening. It eats steel.', current_date - interval 13 day + interval '18:44' hour_minute),
  (4, 3, 'Re: Iron gall', 'Ann at the shop', '> But rinse the pen every evening.\n\nOr take a quill. It has nothing to rust.', current_date - interval 12 day + interval '09:10' hour_minute),
  (5, 2, 'Which paper with it?', 'Clara', 'Is the laid paper strong enough for it?', current_date - interval 12 day + interval '12:00' hour_minute),
  (6, 1, 'Pencil', 'Hugo', 'Graphite does not fade at all. Nobody believes me.', current_date - interval 11 day + interval '20:15' hour_minute),
  (7, 0, 'A quill for the left hand', 'Mira', 'From which wing does it have to come?', current_date - interval 4 day + interval '14:20' hour_minute),
  (8, 7, 'From the right one', 'Ann at the shop', 'Feathers of the right wing bend away from a left-handed writer''s eye. We cut them on request.', current_date - interval 4 day + interval '15:02' hour_minute),
  (9, 0, 'Show your first bindings!', 'Hugo', 'Mine fell apart on the bus. Yours?', current_date - interval 1 day + interval '19:00' hour_minute);
