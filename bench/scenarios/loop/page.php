<ul>
<?php
$s = 0;
for ($i = 1; $i <= (int)$_GET['n']; $i++) {
  if ($i % 3 == 0) $s += $i % 10; else $s -= 1;
  if ($i % 1000 == 0) echo "<li>$s</li>\n";
}
?>
</ul>
