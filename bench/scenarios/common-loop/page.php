<?php
function price($name, $number) {
  return "$name: $number euros";
}
$lines = file('_goods', FILE_IGNORE_NEW_LINES);
$item = array_combine(explode("\t", $lines[0]), explode("\t", $lines[1]));
?>
<ul>
<?php for ($i = 1; $i <= (int)$_GET['n']; $i++):
  $n = $i % 10;
  switch ($n) {
    case 0: $amount = 'none'; break;
    case 1: $amount = 'one'; break;
    case 2: $amount = 'a pair'; break;
    case 3: case 4: $amount = 'a few'; break;
    default: $amount = 'many';
  } ?>
<li><?php if ($n > 5): ?><b><?= $i ?></b><?php else: ?><?= $i ?><?php endif ?> <?= $n == 7 ? 'last' : 'more' ?> <?= $amount ?> <?= price(htmlspecialchars($item['name']), $n) ?></li>
<?php endfor ?>
</ul>
